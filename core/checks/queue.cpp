#include "core/checks/queue.h"

#include <algorithm>

#include "core/foundation/busy.h"
#include "core/foundation/logger.h"

namespace kavel::checks {

Task::Task(Value path, std::vector<Value> controls, Value name, Value icon)
    : path(path),
      name(name ? std::move(name) : std::move(path)),
      icon(std::move(icon)),
      check_controls(runtime::make<Controls>(std::move(controls))),
      results(runtime::make<ResultList>()) {}

void Task::each_reference(runtime::ReferenceVisitor& visitor) const {
  for (const Value* held : {&path, &name, &icon}) visitor(*held);
  visitor(check_controls);
  visitor(results);
}

void Task::drop_references() noexcept {
  check_controls->drop_references();
  results->drop_references();
}

Status Task::status() const noexcept {
  Status worst = Status::pass;
  for (const auto& result : results->items) worst = std::max(worst, result->status());
  return worst;
}

void Queue::clear() {
  std::vector<Ref<Task>> removed;
  std::swap(tasks->items, removed);
}

void Queue::fix_all() {
  if (is_fixing_) {
    foundation::log_warning("Repairing is under way already");
    return;
  }
  const foundation::Busy busy(is_fixing_);
  const auto planned = tasks->items;
  for (const auto& task : planned) {
    const auto results = task->results->items;
    for (const auto& result : results) {
      if (result->flag(CheckPort::Flag::could_be_fixed)) result->fix_result();
    }
  }
}

bool Queue::fix_exists() const {
  const auto current = tasks->items;
  return std::ranges::any_of(current, [](const Ref<Task>& task) {
    const auto results = task->results->items;
    return std::ranges::any_of(results, [](const Ref<Result>& result) {
      return result->flag(CheckPort::Flag::could_be_fixed);
    });
  });
}

}  // namespace kavel::checks
