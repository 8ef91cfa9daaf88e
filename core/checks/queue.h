// The tasks of the last validation: one for each object that was checked, one for the scene.
#pragma once

#include <optional>
#include <string>

#include "core/checks/result.h"

namespace kavel::checks {

/// The runs of checks on one path.
class Task final : public runtime::Object {
 public:
  using Controls = runtime::List<Value>;

  /// Named as the path unless there is a name.
  Task(Value path, std::vector<Value> controls, Value name = {}, Value icon = {});

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  [[nodiscard]] bool is_empty() const noexcept { return results->items.empty(); }
  /// The worst of the results; pass without any.
  [[nodiscard]] Status status() const noexcept;

  const Value path;
  const Value name;
  const Value icon;
  /// One list object for life, as is `results`.
  const Ref<Controls> check_controls;
  const Ref<ResultList> results;
};

class Queue final : public runtime::Object {
 public:
  using Tasks = runtime::List<Ref<Task>>;

  Queue() : tasks(runtime::make<Tasks>()) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(tasks); }

  void add(Ref<Task> task) { tasks->items.push_back(std::move(task)); }
  /// The list object stays the same.
  void clear();
  [[nodiscard]] bool is_empty() const noexcept { return tasks->items.empty(); }

  /// Repairs every result that can be, in order. Called by a repair, it does nothing.
  void fix_all();
  /// Whether any result can be repaired.
  [[nodiscard]] bool fix_exists() const;
  [[nodiscard]] bool is_fixing() const noexcept { return is_fixing_; }

  const Ref<Tasks> tasks;

 private:
  bool is_fixing_ = false;
};

}  // namespace kavel::checks
