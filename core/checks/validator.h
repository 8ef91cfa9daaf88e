// The validation component: plans and runs the checks of a scene.
#pragma once

#include "core/checks/check_list.h"
#include "core/checks/queue.h"

namespace kavel::checks {

/// Holds what a validation needs. This version starts none.
class Validator final : public runtime::Object {
 public:
  /// The shared objects that the facade hands over.
  struct Shared {
    runtime::Value api;
    runtime::Value operator_object;
    runtime::Value hierarchy;
    runtime::Value buffer;
  };

  Validator(Shared shared, runtime::Ref<WorkspaceCheckList> list);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Runs one validation in the configured mode. Not implemented in this version.
  [[noreturn]] void start();

  [[nodiscard]] const Shared& shared() const noexcept { return shared_; }

  const runtime::Ref<WorkspaceCheckList> checklist;
  const runtime::Ref<Queue> queue;

 private:
  Shared shared_;
};

}  // namespace kavel::checks
