// The export component: writes hierarchies to files through the scene operator.
#pragma once

#include "core/export/options.h"
#include "core/export/queue.h"

namespace kavel::exporting {

/// Holds the formats, the flags and the queue of an export. This version starts none.
class Exporter final : public runtime::Object {
 public:
  /// The shared objects that the facade hands over, and the export switches.
  struct Shared {
    runtime::Value api;
    runtime::Value operator_object;
    runtime::Value buffer;
    runtime::Value flags;
  };

  Exporter(Shared shared, runtime::Ref<Options> formats);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Export in the configured mode, of the whole project, of the selection. Not implemented in
  /// this version.
  [[noreturn]] void start();

  [[nodiscard]] const Shared& shared() const noexcept { return shared_; }

  const runtime::Ref<Options> options;
  const runtime::Ref<Queue> queue;

 private:
  Shared shared_;
};

}  // namespace kavel::exporting
