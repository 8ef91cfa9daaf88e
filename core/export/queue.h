// The files of one export run.
#pragma once

#include <string>
#include <utility>

#include "core/facade/constants.h"
#include "core/runtime/list.h"

namespace kavel::exporting {

/// One file to write: a base name and the objects that go into it.
class Task final : public runtime::Object {
 public:
  explicit Task(std::string base_name)
      : name(std::move(base_name)), roots(runtime::make<runtime::List<std::string>>()) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(roots); }

  void add(std::string root) { roots->items.push_back(std::move(root)); }
  /// A task without roots is never exported.
  [[nodiscard]] bool is_empty() const noexcept { return roots->items.empty(); }
  void confirm() noexcept { confirmed_ = facade::kSuccess; }
  [[nodiscard]] bool is_confirmed() const noexcept { return confirmed_; }

  /// Without the extension.
  std::string name;
  /// Scene paths.
  const runtime::Ref<runtime::List<std::string>> roots;

 private:
  bool confirmed_ = facade::kFailure;
};

/// The tasks in the order of their planning; the list object stays the same.
class Queue final : public runtime::Object {
 public:
  Queue() : tasks(runtime::make<runtime::List<runtime::Ref<Task>>>()) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(tasks); }

  void add(runtime::Ref<Task> task) { tasks->items.push_back(std::move(task)); }
  void clear() noexcept { tasks->drop_references(); }
  [[nodiscard]] bool is_empty() const noexcept { return tasks->items.empty(); }

  const runtime::Ref<runtime::List<runtime::Ref<Task>>> tasks;
};

}  // namespace kavel::exporting
