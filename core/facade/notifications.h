// The named notification lists through which the components tell the host about events.
#pragma once

#include <array>
#include <functional>
#include <string_view>

#include "core/runtime/list.h"

namespace kavel::facade {

/// An ordered list of callables without repeats.
class NotificationList final : public runtime::Object {
 public:
  NotificationList() : handlers(runtime::make<runtime::List<runtime::Value>>()) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(handlers); }
  void drop_references() noexcept override { clear(); }

  /// Appends `handler` unless an equal one is there; the first keeps its place.
  void add(const runtime::Value& handler);
  /// Removes an equal handler; nothing happens when there is none.
  void remove(const runtime::Value& handler);
  /// Hands each handler to `invoke` in order of registration, over a copy: handlers may register
  /// and delete. A failing one is logged and the rest are still called.
  void fire(const std::function<void(const runtime::Value&)>& invoke) const;
  void clear() noexcept;

  const runtime::Ref<runtime::List<runtime::Value>> handlers;
};

inline constexpr std::array<std::string_view, 12> kNotifications = {
    "empty_scan_selection",     "used_scan_selection", "empty_scan_result", "lost_export_directory",
    "empty_export_selection",   "export_skipped",      "export_success",    "projects_synchronized",
    "projects_response_closed", "projects_saved",      "buffer_loaded",     "http_no_response"};

/// One list for each of `kNotifications`, for life.
class Notifications final : public runtime::Object {
 public:
  Notifications();

  void each_reference(runtime::ReferenceVisitor& visitor) const override {
    for (const auto& list : lists) visitor(list);
  }
  void clear() noexcept;

  std::array<runtime::Ref<NotificationList>, kNotifications.size()> lists;
};

}  // namespace kavel::facade
