#include "core/checks/options.h"

#include "core/checks/combo_box.h"
#include "core/checks/scalar_input.h"
#include "host/checks/inputs.h"

namespace kavel::host {
namespace {

using checks::Group;
using checks::Node;
using checks::Options;

void bind_group(py::handle scope) {
  auto group = define<Group>(scope, "Group", "A titled group of inputs inside an options tree.");
  define_init(
      group,
      [](const py::object& label, const py::object& contents, const py::object& visibility) {
        return new Group(text_argument(label, "label"),
                         contents.is_none() ? checks::Nodes() : to_nodes(contents),
                         visibility.cast<std::optional<std::string>>());
      },
      py::arg("label") = "", py::arg("contents") = py::none(),
      py::arg("visibility_switch") = py::none(),
      "contents: inputs and groups, any iterable or none.\n"
      "visibility_switch: attribute name of the `Switch` that shows or hides the group, or none.\n"
      "Errors: `Error.ParameterInputType` for any other object in it.");
  group.def_readwrite("label", &Group::label, "The title.");
  group.def_readwrite("visibility_switch", &Group::visibility_switch,
                      "Attribute name of a switch, or none.");
  group.def_property(
      "contents", [](const Group& self) { return from_nodes(self.contents); },
      [](Group& self, const py::object& contents) { self.contents = to_nodes(contents); },
      "The inputs and groups, a tuple; set it to change them.");
  group.def("__iter__", [](const Group& self) { return py::iter(from_nodes(self.contents)); });
  group.def("clone", &Group::clone, "A group with clones of the contents.");
}

template <class T>
void bind_test(py::class_<Options>& options, const char* name, const char* doc) {
  options.def_static(
      name, [](const py::object& node) { return py::isinstance<T>(node); }, py::arg("node"), doc);
}

void bind_tests(py::class_<Options>& options) {
  bind_test<Group>(options, "is_group", "Whether a node is a `Parameters.Group`.");
  bind_test<Input>(options, "is_input", "Whether a node is an input.");
  bind_test<checks::Switch>(options, "is_switch", "Whether a node is a `Parameters.Switch`.");
  bind_test<checks::IntRange>(options, "is_integer", "Whether a node is a `Parameters.IntRange`.");
  bind_test<checks::FloatRange>(options, "is_float",
                                "Whether a node is a `Parameters.FloatRange`.");
  bind_test<checks::ComboBox>(options, "is_combobox", "Whether a node is a `Parameters.ComboBox`.");
}

}  // namespace

checks::Nodes to_nodes(py::handle iterable) {
  checks::Nodes nodes;
  for (const py::handle element : py::iter(iterable)) {
    Node node{.input = to_input(element), .group = nullptr};
    if (!node.input && py::isinstance<Group>(element)) node.group = element.cast<Ref<Group>>();
    if (!node.input && !node.group) {
      throw foundation::Error(foundation::ErrorKind::parameter_input_type);
    }
    nodes.push_back(std::move(node));
  }
  return nodes;
}

py::tuple from_nodes(const checks::Nodes& nodes) {
  py::list list;
  const checks::Nodes current = nodes;
  for (const Node& node : current) {
    list.append(node.input ? expose(node.input) : expose(node.group));
  }
  return py::tuple(list);
}

void bind_options(py::handle scope) {
  bind_group(scope);
  auto options = define<Options>(scope, "Options",
                                 "A named tree of inputs and groups that stores what differs from "
                                 "its defaults.");
  bind_tests(options);
  define_init(
      options,
      [](const py::object& attr, const py::object& label, const py::object& help_text,
         const py::object& contents) {
        return new Options(input_texts(attr, label, help_text), to_nodes(contents));
      },
      py::arg("attr_name"), py::arg("label") = "", py::arg("help_text") = "",
      py::arg("contents") = py::tuple(),
      "contents: inputs and groups. Of inputs with one attribute name the last counts.\n"
      "Errors: the attribute-name errors; `Error.ParameterInputType` for any other object.");
  const auto text = [&options](const char* name, std::string InputTexts::*member, const char* doc) {
    options.def_property_readonly(
        name, [member](const Options& self) { return self.texts().*member; }, doc);
  };
  text("attr", &InputTexts::attr, "The attribute name.");
  text("label", &InputTexts::label, "The text shown for the tree.");
  text("help_text", &InputTexts::help_text, "The text shown as its help.");
  options.def("__iter__",
              [](const Options& self) { return py::iter(from_nodes(self.contents())); });
  options.def_property_readonly(
      "_parameters",
      [](const Options& self) {
        py::dict parameters;
        for (const auto& [attr, input] : self.parameters()) {
          parameters[to_text(attr)] = expose(input);
        }
        return parameters;
      },
      "Attribute name -> input over the whole tree, a copy.");
  options.def_property_readonly("_defaults", &Options::defaults, "The state when it was made.");
  options.def_property_readonly("data", &Options::data,
                                "{attribute name: value} of what differs from the defaults.");
  options.def("reset", &Options::reset, "Sets every value back to its default.");
  options.def("load", &Options::load, py::arg("data"),
              "Resets, then takes stored values over; what does not fit is logged and left out.");
  options.def("clone", &Options::clone, "A tree with clones of the contents.");
}

}  // namespace kavel::host
