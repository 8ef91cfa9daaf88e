#include "core/checks/queue.h"

#include "host/adaptors/calls.h"
#include "host/adaptors/check_port.h"
#include "host/adaptors/operator.h"
#include "host/adaptors/statistics.h"
#include "host/bindings.h"
#include "host/classes.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using checks::CheckPort;
using checks::ParameterTask;
using checks::Queue;
using checks::Result;
using checks::ResultList;
using checks::RunContext;
using checks::Task;

/// A path, name or icon that may be none.
Value optional(const py::object& object) { return object.is_none() ? Value() : to_value(object); }

void bind_result_values(py::class_<Result>& result) {
  const auto flag = [&result](const char* name, CheckPort::Flag asked, const char* doc) {
    result.def_property_readonly(
        name, [asked](const Result& self) { return self.flag(asked); }, doc);
  };
  flag("could_be_fixed", CheckPort::Flag::could_be_fixed, "Whether the issues can be repaired.");
  flag("could_be_selected", CheckPort::Flag::could_be_selected,
       "Whether the issues can be selected.");
  flag("scene_oriented", CheckPort::Flag::scene_oriented, "Whether the check is about the scene.");
  result.def_property_readonly("name", &Result::name, "The long name of the check's instance.");
  for (const char* name : {"status", "_status"}) {
    result.def_property_readonly(
        name, [](const Result& self) { return checks::text_of(self.status()); },
        "One of `Constants.Check.Result`.");
  }
  result.def_property_readonly("_check", &Result::instance,
                               "The check's instance; its class when none could be made.");
  result.def_property_readonly("_path", &Result::path, "The scene path that is checked.");
  result.def_property_readonly("_param", &Result::parameters, "The result's own parameters.");
  result.def_property_readonly(
      "_op", [](const Result& self) { return self.context()->operator_port().object(); },
      "The scene operator.");
  result.def_property_readonly(
      "_statistics",
      [](const Result& self) { return statistics_object(self.context()->statistics()); },
      "The store of usage records.");
}

void bind_result(py::handle scope) {
  auto result = define<Result>(scope, "Result", "One run of one check on one path.");
  define_init(
      result,
      [](Value path, Value check_class, const Ref<ParameterTask>& parameters,
         const py::object& statistics, const py::object& operator_object, bool single) {
        if (!parameters) throw py::type_error("a result needs a `Parameters.Block.Task`");
        auto context = runtime::make<RunContext>(check_port(), statistics_port(statistics),
                                                 operator_port(operator_object));
        return new Result(context, std::move(path), std::move(check_class), *parameters, single);
      },
      py::arg("path"), py::arg("check_class"), py::arg("parameter_task"), py::arg("statistics"),
      py::arg("operator"), py::arg("single") = true,
      "Makes an instance of the class and runs it on the path.\n\n"
      "single: false when the check runs with several sets; the set's number then ends the name.\n"
      "Errors: none of the check's own, they become the status \"error\" and a log entry.");
  // Held by every result of a validation, so the collector must be able to ask it by itself.
  (void)define<RunContext>(result, "_Context", "What the results of one validation share.");
  bind_result_values(result);
  result.def("check", &Result::check, "Runs the check again and records the run.");
  result.def("fix_result", &Result::fix_result,
             "Lets the check repair what it found, then runs it again.");
  result.def("select_result", &Result::select_result,
             "What the check's own `select_result` returns; none when it fails.");
  result.def("result_message", &Result::result_message,
             "The check's text about its result; empty when it fails.");
  auto list = bind_list<Ref<Result>>(result, "List", "The results of a task, a live list.");
  define_init(list, [] { return new ResultList(); });
  list.def(
      "add",
      [](ResultList& self, const py::object& item) {
        self.items.push_back(detail::element<Ref<Result>>(item));
      },
      py::arg("result"), "Appends a result.");
}

void bind_task(py::handle scope) {
  auto task = define<Task>(scope, "Task", "The runs of checks on one object, or on the scene.");
  bind_result(task);
  define_init(
      task,
      [](Value path, const py::object& controls, const py::object& name, const py::object& icon) {
        if (is_text(controls)) throw py::type_error("the controls of a task are no text");
        return new Task(std::move(path), values(controls),
                        truth_of(name) ? to_value(name) : Value(), optional(icon));
      },
      py::arg("path"), py::arg("check_controls"), py::arg("name") = py::none(),
      py::arg("icon") = py::none(), "Without a name, or with an empty one, it has its path's.");
  task.def_readonly("name", &Task::name, "The name that is shown.");
  task.def_readonly("path", &Task::path, "The scene path.");
  task.def_readonly("icon", &Task::icon, "An icon of the user interface, or none.");
  task.def_readonly("check_controls", &Task::check_controls, "The planned controls, a live list.");
  task.def_readonly("results", &Task::results, "The results so far, a live list.");
  task.def_property_readonly("empty", &Task::is_empty, "Whether there are no results.");
  task.def_property_readonly(
      "status", [](const Task& self) { return checks::text_of(self.status()); },
      "The worst status of the results; \"pass\" without any.");
  task.def_property_readonly(
      "_level_order",
      [](const Task&) {
        py::list order;
        for (int level = 0; level < 4; ++level) {
          order.append(to_text(checks::text_of(static_cast<checks::Status>(level))));
        }
        return order;
      },
      "The status values from best to worst.");
  task.def_property_readonly(
      "_order_indices",
      [](const Task&) {
        py::dict indices;
        for (int level = 0; level < 4; ++level) {
          indices[to_text(checks::text_of(static_cast<checks::Status>(level)))] = level;
        }
        return indices;
      },
      "Status value -> severity, 0 for the best.");
}

}  // namespace

void bind_queue(py::handle scope) {
  auto queue = define<Queue>(scope, "_Queue", "The tasks of the last validation, in order.");
  bind_task(queue);
  bind_list<Ref<Task>>(queue, "_TaskList", "A live list of tasks.");
  define_init(queue, [] { return new Queue(); });
  queue.def("add", &Queue::add, py::arg("task").none(false), "Appends a task.");
  queue.def("clear", &Queue::clear, "Removes every task; the list object stays the same.");
  queue.def("is_empty", &Queue::is_empty, "Whether there are no tasks.");
  queue.def("fix_all", &Queue::fix_all, "Repairs every result that can be, in order.");
  queue.def("fix_exists", &Queue::fix_exists, "Whether any result can be repaired.");
  queue.def("__len__", [](const Queue& self) { return self.tasks->items.size(); });
  queue.def("__iter__", [](const Queue& self) { return py::iter(expose(self.tasks)); });
  queue.def_property_readonly(
      "_tasks", [](const Queue& self) { return self.tasks; }, "The tasks, a live list.");
}

}  // namespace kavel::host
