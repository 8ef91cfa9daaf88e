#include "core/checks/block.h"
#include "core/checks/queue.h"
#include "host/bindings.h"
#include "host/checks/check_list.h"
#include "host/classes.h"

namespace kavel::host {
namespace {

using checks::Queue;

void bind_base(const py::object& scope) {
  const py::object base =
      plain_class(scope, "Base", "The base of every check; a check derives from it indirectly.");
  for (const char* name : {"class_id", "short_name", "long_name", "description", "category"}) {
    base.attr(name) = "";
  }
  base.attr("sort_index") = 0;
  base.attr("scene_oriented") = false;
  base.attr("mask") = py::tuple();
  base.attr("result") = py::none();
  base.attr("could_be_fixed") = false;
  base.attr("could_be_selected") = false;
  static_method(
      base, "parameters", [] { return runtime::make<checks::Block>(); },
      "The description of the check's parameters, a new `Parameters.Block`; empty by default.");
  abstract_methods(base, {{"check",
                           "check(path, parameters): examines the object at the scene path; raises "
                           "`Error.ValidationError` when it finds an issue."}});
  method(
      base, "fix_result", [](const py::object&, const py::object&, const py::object&) {},
      py::arg("path"), py::arg("parameters"), "Repairs what the last `check` found.");
  method(
      base, "select_result", [](const py::object&) {}, "Selects what the last `check` found.");
  method(
      base, "result_message", [](const py::object&) { return std::string(); },
      "A text about the last result.");
}

void bind_queue(const py::object& scope) {
  auto queue = define<Queue>(scope, "_Queue", "The tasks of the last validation, in order.");
  define_init(queue, [] { return new Queue(); });
  queue.def("add", &Queue::add, py::arg("task"), "Appends a task.");
  queue.def("clear", &Queue::clear, "Removes every task; the list object stays the same.");
  queue.def("is_empty", &Queue::is_empty, "Whether there are no tasks.");
  queue.def("__len__", [](const Queue& self) { return self.tasks->items.size(); });
  queue.def("__iter__", [](const Queue& self) { return py::iter(expose(self.tasks)); });
  queue.def_property_readonly(
      "_tasks", [](const Queue& self) { return self.tasks; }, "The tasks, a live list.");
}

}  // namespace

void bind_checks(py::module_& module) {
  const py::object scope = namespace_class(module, "Check", "Checks, their lists and their tasks.");
  bind_base(scope);
  bind_check_classes(scope);
  bind_check_list(scope);
  bind_queue(scope);
}

}  // namespace kavel::host
