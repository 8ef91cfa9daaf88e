#include "core/projects/edit_toggle.h"

namespace kavel::projects {

using runtime::Ref;

EditToggle::EditToggle(Uplink<HistoryPort> history)
    : history_(std::move(history)), records_(runtime::make<Records>()) {
  update();
}

void EditToggle::each_reference(runtime::ReferenceVisitor& visitor) const {
  history_.each_reference(visitor);
  visitor(records_);
  visitor(current_);
}

void EditToggle::drop_references() noexcept {
  clear();
  history_.drop();
}

Ref<Record> EditToggle::current() {
  if (!current_) current_ = runtime::make<Record>(history_, foundation::Json::Map());
  return current_;
}

void EditToggle::switch_to(std::int64_t index) {
  if (index < 0 || index >= static_cast<std::int64_t>(records_->items.size())) return;
  const Ref<Record> target = records_->items[static_cast<std::size_t>(index)];
  const Ref<Record> left = current_;
  if (left && left->is_promise()) left->reset();
  current_ = target;
}

void EditToggle::clear() noexcept {
  std::vector<Ref<Record>> removed;
  std::swap(removed, records_->items);
  current_ = nullptr;
}

void EditToggle::update() {
  std::vector<Ref<Record>> fresh = history_.port().records();
  Ref<Record> newest = fresh.empty() ? nullptr : fresh.front();
  std::swap(records_->items, fresh);
  std::swap(current_, newest);
}

EditToggle::View EditToggle::view() const {
  const auto& items = records_->items;
  const bool has_promise = !items.empty() && items.front()->is_promise();
  return {.promise = has_promise ? items.front() : nullptr, .shown = current_};
}

void EditToggle::refresh(const View& before) {
  update();
  if (before.promise) records_->items.insert(records_->items.begin(), before.promise);
  if (!before.shown) return;
  Ref<Record> shown = before.shown->is_promise() ? before.shown : nullptr;
  for (const Ref<Record>& record : records_->items) {
    if (!shown && record->timestamp == before.shown->timestamp) shown = record;
  }
  if (shown) std::swap(current_, shown);
}

void EditToggle::set_promise(Ref<Record> promise) {
  update();
  records_->items.insert(records_->items.begin(), promise);
  current_ = std::move(promise);
}

}  // namespace kavel::projects
