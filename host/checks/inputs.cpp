#include "host/checks/inputs.h"

#include "host/bindings.h"
#include "host/classes.h"

namespace kavel::host {
namespace {

/// The bound class of the core's own type behind `input`.
const py::detail::type_info* own_class(const Input& input) {
  return py::detail::get_type_info(typeid(input), true);
}

/// Copies what the classes of `from` keep outside of its dictionary.
void copy_slots(const py::object& from, const py::object& to) {
  const py::object names = py::module_::import("copyreg").attr("_slotnames")(py::type::of(from));
  for (const py::handle name : names) {
    if (py::hasattr(from, name)) py::setattr(to, name, py::getattr(from, name));
  }
}

/// A copy whose class is that of `self`, with copies of the attributes that it carries.
py::object clone_of(const py::object& self) {
  auto& input = self.cast<Input&>();
  const Ref<Input> copy = input.own_clone();
  PyTypeObject* type = Py_TYPE(self.ptr());
  const py::detail::type_info* own = own_class(input);
  if (type == own->type) return expose(copy);
  auto made = py::reinterpret_steal<py::object>(py::detail::make_new_instance(type));
  auto place = reinterpret_cast<py::detail::instance*>(made.ptr())->get_value_and_holder(own);
  adopt(place, copy.get());
  made.attr("__dict__").attr("update")(self.attr("__dict__"));
  copy_slots(self, made);
  return made;
}

/// Asks the interpreter's object for the operations that its class may have replaced.
class DerivedInput final : public checks::InputOverrides {
 public:
  Json data(const Input& input) const override { return to_json(expose(&input).attr("data")); }
  void load(Input& input, const Json& data) const override {
    expose(&input).attr("load")(from_json(data));
  }
  Ref<Input> clone(const Input& input) const override {
    const py::object copy = expose(&input).attr("clone")();
    Ref<Input> result = to_input(copy);
    if (!result) throw py::type_error("the clone of an input must be an input");
    return result;
  }
};

}  // namespace

Json plain_argument(py::handle object) {
  PyObject* const raw = object.ptr();
  const bool is_plain = raw == Py_None || PyUnicode_Check(raw) != 0 || PyLong_Check(raw) != 0 ||
                        PyFloat_Check(raw) != 0;
  if (!is_plain) return Json::Map();
  try {
    return to_json(object);
  } catch (const py::error_already_set& error) {
    // The interpreter refuses to write whole numbers of thousands of digits.
    if (!error.matches(PyExc_ValueError)) throw;
    return Json::Map();
  }
}

std::string text_argument(py::handle object, const char* name) {
  foundation::assert_that(is_text(object), std::string("\"") + name + "\" must be a text");
  return from_text(object);
}

InputTexts input_texts(py::handle attr, py::handle label, py::handle help_text) {
  if (!is_text(attr)) {
    throw foundation::Error::about(foundation::ErrorKind::wrong_attribute_name,
                                   from_text(py::str(attr)));
  }
  return {from_text(attr), text_argument(label, "label"), text_argument(help_text, "help_text")};
}

Ref<Input> to_input(py::handle object) {
  static const DerivedInput kDerived;
  if (!py::isinstance<Input>(object)) return nullptr;
  auto input = object.cast<Ref<Input>>();
  if (Py_TYPE(object.ptr()) != own_class(*input)->type) input->set_overrides(&kDerived);
  return input;
}

checks::Slots to_slots(py::handle iterable) {
  checks::Slots slots;
  for (const py::handle element : py::iter(iterable)) {
    Ref<Input> input = to_input(element);
    Value other = input ? Value() : to_value(element);
    slots.push_back({.input = std::move(input), .other = std::move(other)});
  }
  return slots;
}

py::object from_slot(const checks::Slot& slot) {
  return slot.input ? expose(slot.input) : from_value(slot.other);
}

void bind_input_base(py::handle scope) {
  auto input = define<Input>(scope, "_Input",
                             "One typed parameter: how it is shown, and its value. A class of a "
                             "host may derive from it and replace `data`, `load` and `clone`.");
  define_init(
      input,
      [](const py::object& attr, const py::object& label, const py::object& help_text) {
        return new Input(input_texts(attr, label, help_text));
      },
      py::arg("attr_name"), py::arg("label") = "", py::arg("help_text") = "",
      "attr_name: the name under which the value is stored and found.\n"
      "Errors: `Error.WrongAttributeName`, `Error.PrivateAttributeName`.");
  const auto text = [&input](const char* name, const char* hidden,
                             const std::string& (Input::*getter)() const noexcept,
                             const char* doc) {
    for (const char* known : {name, hidden}) input.def_property_readonly(known, getter, doc);
  };
  text("attr", "_attr", &Input::attr, "The attribute name.");
  text("label", "_label", &Input::label, "The text shown beside the input.");
  text("help_text", "_help_text", &Input::help_text, "The text shown as its help.");
  input.def("__str__", &Input::text);
  input.def_property_readonly("data", &Input::own_data,
                              "The value in the JSON form in which it is stored.");
  input.def("load", &Input::own_load, py::arg("data"),
            "Takes a value of that form over; a missing key keeps the current value.\n"
            "Errors: TypeError for a value of another type; the input keeps its value.");
  input.def("clone", &clone_of, "An input of the same class with the same description and value.");
}

void bind_parameters(py::module_& module) {
  const py::object scope =
      namespace_class(module, "Parameters", "Typed parameters of checks and export formats.");
  bind_input_base(scope);
  bind_scalar_inputs(scope);
  bind_combo_box(scope);
  bind_list_inputs(scope);
  bind_options(scope);
  bind_block(scope);
}

}  // namespace kavel::host
