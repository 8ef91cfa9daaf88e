// The tasks of the last validation.
#pragma once

#include "core/runtime/list.h"

namespace kavel::checks {

/// An ordered list of tasks; this version makes none.
class Queue final : public runtime::Object {
 public:
  Queue() : tasks(runtime::make<runtime::List<runtime::Value>>()) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(tasks); }

  void add(const runtime::Value& task) { tasks->items.push_back(task); }
  /// The list object stays the same.
  void clear() noexcept { tasks->drop_references(); }
  [[nodiscard]] bool is_empty() const noexcept { return tasks->items.empty(); }

  const runtime::Ref<runtime::List<runtime::Value>> tasks;
};

}  // namespace kavel::checks
