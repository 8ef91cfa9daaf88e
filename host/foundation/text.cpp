#include "host/foundation/text.h"

#include "host/bindings.h"
#include "host/classes.h"

namespace kavel::host {
namespace {

/// A text as a unified one of the same characters, whatever its class would print; anything that is
/// no text comes back as it is.
py::object unified(const py::object& unified_class, const py::object& value) {
  if (!is_text(value) || py::isinstance(value, unified_class)) return value;
  return unified_class(to_text(from_text(value)));
}

}  // namespace

py::object unified(std::string_view text) {
  return py::module_::import("core").attr("_Str")(to_text(text));
}

void bind_text(py::module_& module) {
  module.attr("_ENCODING") = "utf-8";
  const py::object text_class = plain_class(
      module, "_Str", "A text that equals and hashes like the plain text of the same characters.",
      py::make_tuple(
          py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(&PyUnicode_Type))));
  property(
      text_class, "decoded",
      [](const py::object& self) { return py::str("").attr("join")(py::make_tuple(self)); },
      "The plain text of the same characters.");
  // The class is found through the module so that no function owns it.
  module.def(
      "_str",
      [](const py::object& value) {
        return unified(py::module_::import("core").attr("_Str"), value);
      },
      py::arg("value"), "A text as a unified text; any other object unchanged.");
  module.def(
      "_format",
      [](const py::object& pattern, const py::args& arguments) {
        const py::object text = py::module_::import("core").attr("_Str");
        py::list unified_arguments;
        for (const py::handle argument : arguments) {
          unified_arguments.append(unified(text, py::reinterpret_borrow<py::object>(argument)));
        }
        return unified(text, unified(text, pattern).attr("format")(*unified_arguments));
      },
      py::arg("pattern"), "`pattern` with its {} places filled in order, a unified text.");
}

}  // namespace kavel::host
