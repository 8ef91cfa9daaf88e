// The validation component: plans which checks run on which paths of the scene, and runs them.
//
// Everything here runs on the thread that may touch the scene. A check may do anything, so each
// loop goes over a snapshot, and a validation that is asked for inside of one does nothing.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/checks/queue.h"
#include "core/facade/constants.h"
#include "core/scene/buffer.h"

namespace kavel::checks {

/// What the validation asks of the program.
class ValidatorPort {
 public:
  virtual ~ValidatorPort() = default;
  virtual void each_reference(runtime::ReferenceVisitor& visitor) const = 0;
  virtual void drop_references() noexcept = 0;
  [[nodiscard]] virtual Value object() const = 0;

  /// Nothing for a value that is no mode.
  [[nodiscard]] virtual std::optional<facade::CheckMode> mode() = 0;
  /// The file name of the project of the workspace.
  [[nodiscard]] virtual std::string project() = 0;
  /// The store of usage records, in the form that results use.
  [[nodiscard]] virtual Ref<services::StatisticsPort> statistics() = 0;
  /// Adds the record of a validation and writes the store.
  virtual void record(double seconds, const std::string& project) = 0;

  /// The controls that a check list answers for enabled checks of this kind.
  [[nodiscard]] virtual std::vector<Value> controls(const Value& checklist,
                                                    bool scene_oriented) = 0;
  /// Whether the pattern has anything to check for a rule.
  [[nodiscard]] virtual bool is_verifiable(const Value& pattern, const std::string& stamp) = 0;
  [[nodiscard]] virtual Value checklist(const Value& pattern, const std::string& stamp) = 0;
  /// The class ids of the registry, in its order.
  [[nodiscard]] virtual std::vector<std::string> class_order() = 0;
  [[nodiscard]] virtual std::unique_ptr<CheckPort> checks() = 0;
  [[nodiscard]] virtual std::unique_ptr<scene::OperatorPort> operator_port() = 0;
};

class Validator final : public runtime::Object {
 public:
  /// The shared objects that the facade hands over.
  struct Shared {
    Value operator_object;
    Value hierarchy;
    Value pattern;
    Ref<scene::Buffer> buffer;
  };

  Validator(std::unique_ptr<ValidatorPort> port, Shared shared, Value checklist);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Replaces the queue by what the configured mode plans, and runs it. What was found stays in the
  /// queue when an interrupt ends it early; the usage record is written in any case.
  void start();
  /// Replaces the queue by what `mode` plans.
  void plan(std::optional<facade::CheckMode> mode);
  void plan_selection();
  void plan_project();

  [[nodiscard]] const Value& checklist() const noexcept { return checklist_; }
  [[nodiscard]] const Shared& shared() const noexcept { return shared_; }
  [[nodiscard]] ValidatorPort& port() const noexcept { return *port_; }

  const Ref<Queue> queue;

 private:
  struct RuleControls;
  /// False, and logged, while checks or repairs run.
  [[nodiscard]] bool may_plan() const;
  void run_all();
  void run(const Ref<Task>& task, const Ref<RunContext>& context);
  void add_scene_task(std::vector<Value> controls, scene::OperatorPort& scene);

  std::unique_ptr<ValidatorPort> port_;
  Shared shared_;
  Value checklist_;
  bool is_running_ = false;
};

}  // namespace kavel::checks
