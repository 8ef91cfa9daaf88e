#include "core/facade/notifications.h"

#include <algorithm>

#include "core/foundation/logger.h"

namespace kavel::facade {

using runtime::Value;

void NotificationList::add(const Value& handler) {
  const std::vector<Value> known = handlers->items;
  if (std::ranges::find(known, handler) == known.end()) handlers->items.push_back(handler);
}

void NotificationList::remove(const Value& handler) {
  const std::vector<Value> known = handlers->items;
  const auto found = std::ranges::find(known, handler);
  if (found == known.end()) return;
  // Comparing ran foreign code: the entry is looked up again by identity.
  auto& items = handlers->items;
  const auto position =
      std::ranges::find_if(items, [&](const Value& item) { return item.same(*found); });
  if (position != items.end()) items.erase(position);
}

void NotificationList::fire(const std::function<void(const Value&)>& invoke) const {
  const std::vector<Value> snapshot = handlers->items;
  for (const Value& handler : snapshot) foundation::guarded([&] { invoke(handler); });
}

void NotificationList::clear() noexcept {
  std::vector<Value> removed;
  std::swap(handlers->items, removed);
}

Notifications::Notifications() {
  for (auto& list : lists) list = runtime::make<NotificationList>();
}

void Notifications::clear() noexcept {
  for (const auto& list : lists) list->clear();
}

}  // namespace kavel::facade
