#include "host/bindings.h"
#include "host/classes.h"

namespace kavel::host {
namespace {

py::ssize_t length(const py::object& self) { return static_cast<py::ssize_t>(py::len(self)); }

}  // namespace

void bind_named_buffer(py::module_& module) {
  const py::object structure =
      namespace_class(module, "Structure", "Data structures that checks work with.");
  const py::object list =
      py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(&PyList_Type));
  const py::object buffer = plain_class(
      structure, "NamedBuffer", "A list with a name, which a check fills with what it finds.",
      py::make_tuple(list));
  buffer.attr("name") = "";
  method(
      buffer, "__init__",
      [](const py::object& self, const py::object& name, const py::object& items) {
        self.attr("name") = name;
        self.attr("extend")(items);
      },
      py::arg("name") = "", py::arg("items") = py::tuple(),
      "Copies `items`, any iterable, in their order.");
  method(
      buffer, "clear",
      [](const py::object& self) {
        while (length(self) > 0) self.attr("pop")();
      },
      "Removes every item.");
  property(buffer, "length", &length, "Number of items.");
  method(
      buffer, "is_empty", [](const py::object& self) { return length(self) == 0; },
      "Whether there is no item.");
  method(
      buffer, "has_issues", [](const py::object& self) { return length(self) > 0; },
      "Whether there is an item.");
}

}  // namespace kavel::host
