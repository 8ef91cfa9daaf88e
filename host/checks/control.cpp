#include "core/checks/control.h"

#include "host/adaptors/check_class.h"
#include "host/adaptors/check_state.h"
#include "host/checks/check_list.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using checks::Category;
using checks::Control;

void bind_choice(py::class_<Control>& control) {
  control.def_readwrite("enabled", &Control::enabled, "Whether the check runs.");
  control.def_readwrite("opened", &Control::opened,
                        "Whether the parameter panel is expanded in the user interface.");
  control.def_property_readonly(
      "parameters", [](const Control& self) { return self.parameters; },
      "The check's `Parameters.Block` with the user's sets of values.");
  control.def(
      "load",
      [](Control& self, const py::object& state) {
        if (state.is_none()) throw py::type_error("a stored choice is expected");
        self.load(check_state(state));
      },
      py::arg("state"), "Takes `enabled`, `opened` and `parameters` over and keeps the entry.");
  control.def("save", &Control::save,
              "Writes the choice into the entry; that of a disabled check with its default "
              "parameters. Does nothing before one was loaded.");
  control.def("clear", &Control::clear, "Neither enabled nor opened, with default parameters.");
  control.def_property_readonly(
      "_state", [](const Control& self) { return state_object(self.state()); },
      "The entry that the control was loaded from, or none.");
}

}  // namespace

void bind_control(py::handle list) {
  auto control = define<Control>(list, "Control", "One check class in the list.");
  define_init(
      control, [](const py::object& check) { return new Control(check_class(check)); },
      py::arg("check"), "Errors: what the class's `parameters` raises.");
  control.def_property_readonly(
      "check", [](const Control& self) { return self.check_class().object(); },
      "The check class itself.");
  control.def_property_readonly(
      "name", [](const Control& self) { return self.check_class().short_name(); },
      "The class's short name.");
  control.def_property_readonly(
      "description", [](const Control& self) { return self.check_class().description(); },
      "The class's help text.");
  bind_choice(control);
  bind_list<Ref<Control>>(list, "_ControlList", "A live list of controls.");
}

void bind_category(py::handle list) {
  auto category = define<Category>(list, "Category", "The controls of one category, in order.");
  define_init(
      category, [](std::string name) { return new Category(std::move(name)); }, py::arg("name"));
  category.def_readonly("name", &Category::name, "The category in lower case.");
  category.def(
      "add",
      [](Category& self, const Ref<Control>& control) { self.controls->items.push_back(control); },
      py::arg("control").none(false), "Appends a control.");
  category.def("__iter__", [](const Category& self) { return py::iter(expose(self.controls)); });
  bind_list<Ref<Category>>(list, "_CategoryList", "A live list of categories.");
}

}  // namespace kavel::host
