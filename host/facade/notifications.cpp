#include "core/facade/notifications.h"

#include "host/bindings.h"
#include "host/runtime/ending.h"

namespace kavel::host {

using facade::NotificationList;
using facade::Notifications;

void bind_callbacks(py::module_& module) {
  auto callbacks = define<Notifications>(
      module, "_CallBacks", "The named notification lists; each holds the handlers of one event.");
  auto list =
      define<NotificationList>(callbacks, "List", "An ordered list of callables without repeats.");
  define_init(list, [] { return new NotificationList(); });
  list.def("register", &NotificationList::add, py::arg("callback"),
           "Appends `callback` unless an equal one is in the list.");
  list.def("delete", &NotificationList::remove, py::arg("callback"),
           "Removes `callback`; nothing happens when it is not in the list.");
  list.def(
      "__call__",
      [](const NotificationList& self, const py::args& arguments, const py::kwargs& keywords) {
        self.fire([&](const Value& handler) {
          (void)call_and_wait(from_value(handler), arguments, keywords);
        });
      },
      "Calls every handler with the arguments; a failing one is logged, the rest still run.");
  list.def("clear", &NotificationList::clear, "Removes every handler.");
  list.def("__len__", [](const NotificationList& self) { return self.handlers->items.size(); });
  list.def("__bool__", [](const NotificationList&) { return true; });
  list.def_property_readonly(
      "_array", [](const NotificationList& self) { return self.handlers; },
      "The handlers in order of registration, a live list.");

  define_init(callbacks, [] { return new Notifications(); });
  for (std::size_t index = 0; index < facade::kNotifications.size(); ++index) {
    callbacks.def_property_readonly(
        std::string(facade::kNotifications[index]).c_str(),
        [index](const Notifications& self) { return self.lists.at(index); },
        "The handlers of this event.");
  }
  callbacks.def("clear", &Notifications::clear, "Empties every list.");
}

}  // namespace kavel::host
