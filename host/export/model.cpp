#include "core/export/options.h"
#include "core/export/queue.h"
#include "host/adaptors/format.h"
#include "host/bindings.h"
#include "host/classes.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using exporting::Options;
using exporting::Queue;
using exporting::Task;

py::list format_list(const Options& options) {
  py::list formats;
  for (const Value& format : options.formats()) formats.append(from_value(format));
  return formats;
}

void bind_options(const py::object& scope) {
  auto options = define<Options>(scope, "Options", "The export formats, one of them selected.");
  define_init(
      options, [](const py::object& given) { return new Options(formats(given)); },
      py::arg("options") = py::none(),
      "options: the formats, a sequence of `Parameters.Options` or of classes derived from it, or "
      "none.\n"
      "Errors: AssertionError for anything else in it.");
  options.def("__iter__", [](const Options& self) { return py::iter(format_list(self)); });
  options.def(
      "select",
      [](Options& self, const py::object& key) {
        self.select(to_value(key), is_text(key) ? from_text(key) : std::string());
      },
      py::arg("key"),
      "Selects the format that is `key`, or has it as attribute name or label, else the first.");
  options.def("_select_any", &Options::select_any, "Selects the first format.");
  for (const char* name : {"selected", "_selected"}) {
    options.def_property_readonly(name, &Options::selected,
                                  "The selected format; none when there are no formats.");
  }
  options.def_property_readonly("_options", &format_list, "The formats, a fresh list.");
  options.def_property_readonly("data", &Options::data,
                                "{\"formats\": {attribute name: values}, \"selected\": name}.");
  options.def("load", &Options::load, py::arg("data"),
              "Loads every format from its entry of \"formats\" and selects \"selected\".");
  options.def("clone", &Options::clone, "A copy with copies of the formats.");
}

void bind_task(const py::object& scope) {
  auto task = define<Task>(scope, "Task", "One file to write.");
  define_init(
      task, [](std::string name) { return new Task(std::move(name)); }, py::arg("name"),
      "name: the base name of the file, without extension.");
  task.def_readonly("name", &Task::name, "The base name of the file.");
  task.def_property_readonly(
      "roots", [](const Task& self) { return self.roots; }, "Scene paths, a live list.");
  task.def("add", &Task::add, py::arg("root"), "Appends the scene path of a root.");
  task.def("is_empty", &Task::is_empty, "Whether there are no roots.");
  task.def("confirm", &Task::confirm, "Marks the file as written.");
  task.def("is_confirmed", &Task::is_confirmed, "Whether the file was written.");
  task.def_property_readonly("_confirmed", &Task::is_confirmed, "As `is_confirmed`.");
}

void bind_queue(const py::object& scope) {
  auto queue = define<Queue>(scope, "Queue", "The files of one export run, in order.");
  bind_task(queue);
  bind_list<Ref<Task>>(queue, "_TaskList", "A live list of export tasks.");
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

void bind_export_model(py::module_& module) {
  const py::object scope = py::hasattr(module, "_Export")
                               ? module.attr("_Export")
                               : namespace_class(module, "_Export", "The model of an export.");
  bind_options(scope);
  bind_queue(scope);
}

}  // namespace kavel::host
