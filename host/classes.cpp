#include "host/classes.h"

namespace kavel::host {
namespace {

[[noreturn]] void raise_not_implemented(const std::string& operation) {
  PyErr_SetObject(PyExc_NotImplementedError,
                  to_text(operation + " must be implemented by the host").ptr());
  throw py::error_already_set();
}

std::string qualified(py::handle owner, const char* name) {
  return from_text(owner.attr("__qualname__")) + "." + name;
}

}  // namespace

py::object plain_class(py::handle scope, const std::string& name, const std::string& doc,
                       const py::tuple& bases) {
  const bool nested = PyType_Check(scope.ptr()) != 0;
  py::dict members;
  members["__doc__"] = to_text(doc);
  members["__module__"] = nested ? scope.attr("__module__") : scope.attr("__name__");
  members["__qualname__"] =
      nested ? to_text(from_text(scope.attr("__qualname__")) + "." + name) : to_text(name);
  py::object made = py::module_::import("builtins").attr("type")(to_text(name), bases, members);
  scope.attr(name.c_str()) = made;
  return made;
}

py::object namespace_class(py::handle scope, const std::string& name, const std::string& doc) {
  return plain_class(scope, name, doc);
}

void abstract_methods(py::handle owner, std::initializer_list<AbstractOperation> operations) {
  for (const auto& operation : operations) {
    const std::string label = qualified(owner, operation.name);
    method(
        owner, operation.name,
        [label](const py::object&, const py::args&, const py::kwargs&) -> py::object {
          raise_not_implemented(label);
        },
        operation.doc);
  }
}

void abstract_properties(py::handle owner, std::initializer_list<AbstractOperation> operations) {
  for (const auto& operation : operations) {
    const std::string label = qualified(owner, operation.name);
    const std::string name = operation.name;
    property(
        owner, operation.name,
        [label, name](const py::object& self) -> py::object {
          const py::dict own = self.attr("__dict__");
          if (!own.contains(name)) raise_not_implemented(label);
          return own[py::str(name)];
        },
        [name](const py::object& self, const py::object& value) {
          self.attr("__dict__")[py::str(name)] = value;
        },
        operation.doc);
  }
}

}  // namespace kavel::host
