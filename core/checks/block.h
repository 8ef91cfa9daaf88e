// The parameters of a check: the inputs that its author describes, and the sets of values with
// which the user runs it.
#pragma once

#include <vector>

#include "core/checks/parameter_task.h"
#include "core/runtime/list.h"

namespace kavel::checks {

class Block final : public runtime::Object {
 public:
  using Task = Ref<ParameterTask>;

  explicit Block(Slots inputs = {}, bool as_info = false, bool complex = false);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// The same inputs and flags, without tasks.
  [[nodiscard]] Ref<Block> clone() const;
  /// Replaces the tasks by those of an array of {"as_info", "state"}; one with the defaults when it
  /// is empty, or no array. What cannot be loaded is noted in its task.
  void load(const Json& data);
  /// Appends a task with the default values.
  void append_task();
  /// Does nothing when the task is not in the block.
  void remove_task(const ParameterTask& task);
  /// Numbers the tasks from 1, in order.
  void update_numerator();
  void reset();

  [[nodiscard]] const Slots& inputs() const noexcept { return inputs_; }
  /// Whether it was made without inputs.
  [[nodiscard]] bool is_empty() const noexcept { return inputs_.empty(); }
  /// {attribute name: value} as it was when the block was made.
  [[nodiscard]] const Json& state() const noexcept { return state_; }
  /// An array of one object, {"as_info", "state"}.
  [[nodiscard]] Json defaults() const;
  /// The tasks' data, in order.
  [[nodiscard]] Json data() const;

  /// One list object for life.
  const Ref<runtime::List<Task>> tasks;
  /// Of new tasks.
  bool as_info;
  /// Whether the user interface edits the tasks as a list of several sets.
  bool complex;

 private:
  Slots inputs_;
  Json state_;
};

}  // namespace kavel::checks
