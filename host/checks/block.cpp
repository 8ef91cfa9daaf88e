#include "core/checks/block.h"

#include "host/checks/inputs.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using checks::Block;
using checks::ParameterTask;

py::list exceptions(const std::vector<Value>& errors) {
  py::list result;
  for (const Value& error : errors) result.append(from_value(error));
  return result;
}

py::list inputs_of(const ParameterTask& task) {
  py::list inputs;
  for (std::size_t place = 0; place < task.size(); ++place) {
    inputs.append(from_slot(task.slot(place)));
  }
  return inputs;
}

void bind_task_contents(py::class_<ParameterTask>& task) {
  task.def("__iter__", [](const ParameterTask& self) { return py::iter(inputs_of(self)); });
  task.def(
      "__getitem__",
      [](const ParameterTask& self, const std::string& attr) {
        Ref<Input> input = self.find(attr);
        if (!input) throw foundation::Error(foundation::ErrorKind::key, attr);
        return input;
      },
      py::arg("attr"), "The input of that attribute name. Errors: KeyError for an unknown one.");
  task.def("__contains__", [](const ParameterTask& self, const std::string& attr) {
    return static_cast<bool>(self.find(attr));
  });
  task.def_property_readonly("_inputs", &inputs_of, "The task's own inputs, a new list.");
  task.def_property_readonly(
      "_table",
      [](const ParameterTask& self) {
        py::dict table;
        const Ref<checks::ParameterOriginal> original = self.original();
        for (const auto& [attr, place] : original->table) {
          table[to_text(attr)] = from_slot(self.slot(place));
        }
        return table;
      },
      "Attribute name -> input, a copy.");
  task.def_property_readonly(
      "_build_exceptions",
      [](const ParameterTask& self) { return exceptions(self.original()->errors); },
      "What is wrong with the check's description, a new list of exceptions.");
  task.def_property_readonly(
      "_load_exceptions", [](const ParameterTask& self) { return exceptions(self.load_errors()); },
      "What could not be loaded, a new list of exceptions.");
}

void bind_task(py::handle scope) {
  auto task = define<ParameterTask>(scope, "Task", "One set of values with which a check runs.");
  define_init(
      task,
      [](const py::object& inputs, bool as_info) {
        return new ParameterTask(to_slots(inputs), as_info);
      },
      py::arg("inputs"), py::arg("as_info") = false,
      "inputs: any iterable; the task clones them. What is wrong with them is raised by "
      "`assert_no_errors`.");
  // Held by a set of values and its clones, so the collector must be able to ask it by itself.
  (void)define<checks::ParameterOriginal>(task, "_Original", "Values that clones share.");
  bind_task_contents(task);
  task.def_readwrite("as_info", &ParameterTask::as_info,
                     "Whether issues are reported with the status info instead of fail.");
  task.def_readwrite("number", &ParameterTask::number, "Position in its block from 1, or 0.");
  task.def_property_readonly("state", &ParameterTask::state, "{attribute name: stored value}.");
  task.def_property_readonly("data", &ParameterTask::data,
                             "{\"as_info\": Boolean, \"state\": {attribute name: stored value}}.");
  task.def("load", &ParameterTask::load, py::arg("state"),
           "Loads {attribute name: stored value}; errors are kept for `assert_no_errors`.");
  task.def("assert_no_errors", &ParameterTask::assert_no_errors,
           "Raises the first error of the description, else the first of loading, if any.");
  task.def("clone", &ParameterTask::clone, "A task of its own with the same values, numbered 0.");
}

void bind_block_tasks(py::class_<Block>& block) {
  block.def("load", &Block::load, py::arg("data"),
            "Replaces the tasks by stored ones; one with the defaults when there is none.");
  block.def("append_task", &Block::append_task, "Appends a task with the default values.");
  block.def("remove_task", &Block::remove_task, py::arg("task"),
            "Removes a task; one of another block changes nothing.");
  block.def("update_numerator", &Block::update_numerator, "Numbers the tasks from 1.");
  block.def("reset", &Block::reset, "Removes every task.");
  block.def_property_readonly("data", &Block::data, "The stored form of every task, an array.");
  block.def_property_readonly("defaults", &Block::defaults,
                              "[{\"as_info\": Boolean, \"state\": {attribute name: value}}].");
  block.def_property_readonly(
      "_tasks", [](const Block& self) { return self.tasks; }, "The tasks, a live list.");
  block.def_property_readonly(
      "length", [](const Block& self) { return self.tasks->items.size(); }, "Number of tasks.");
  block.def("__len__", [](const Block& self) { return self.tasks->items.size(); });
  block.def("__iter__", [](const Block& self) { return py::iter(expose(self.tasks)); });
}

}  // namespace

void bind_block(py::handle scope) {
  auto block = define<Block>(scope, "Block",
                             "The parameters of a check: its inputs, and the sets of values with "
                             "which it runs.");
  bind_task(block);
  bind_list<Block::Task>(block, "_TaskList", "A live list of sets of values.");
  define_init(
      block,
      [](const py::object& inputs, bool as_info, bool complex) {
        return new Block(to_slots(inputs), as_info, complex);
      },
      py::arg("inputs") = py::tuple(), py::arg("as_info") = false, py::arg("complex") = false,
      "inputs: any iterable of inputs, described once for all tasks.\n"
      "as_info: whether new tasks report issues as information only.\n"
      "complex: whether the user interface edits the tasks as a list.");
  bind_block_tasks(block);
  block.def("clone", &Block::clone, "A block with the same inputs and flags, without tasks.");
  for (const char* name : {"inputs", "_inputs"}) {
    block.def_property_readonly(
        name,
        [](const Block& self) {
          py::list inputs;
          const checks::Slots slots = self.inputs();
          for (const auto& slot : slots) inputs.append(from_slot(slot));
          return py::tuple(inputs);
        },
        "The inputs as they were given, a tuple.");
  }
  for (const char* name : {"empty", "_empty"}) {
    block.def_property_readonly(name, &Block::is_empty, "Whether it was made without inputs.");
  }
  for (const char* name : {"as_info", "_as_info"}) {
    block.def_readwrite(name, &Block::as_info, "Of new tasks.");
  }
  for (const char* name : {"complex", "_complex"}) {
    block.def_readwrite(name, &Block::complex, "Whether several sets are edited as a list.");
  }
  block.def_property_readonly("_state", &Block::state, "{attribute name: default stored value}.");
}

}  // namespace kavel::host
