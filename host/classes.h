// Ordinary classes of the interpreter, made from C++: namespaces, and the bases that hosts derive
// from. They carry no C++ data, so a host may mix in what it likes and need not call the base
// constructor.
#pragma once

#include <initializer_list>
#include <string>
#include <utility>

#include "host/py.h"

namespace kavel::host {

/// `type(name, bases, {})` with a docstring, set on `scope` (a module or class) under its name.
py::object plain_class(py::handle scope, const std::string& name, const std::string& doc,
                       const py::tuple& bases = py::tuple());

/// A class that only groups names.
py::object namespace_class(py::handle scope, const std::string& name, const std::string& doc);

/// Sets a method on a class; `self` is the function's first parameter.
template <class F, class... Extra>
void method(py::handle owner, const char* name, F function, const Extra&... extra) {
  // Under the name "__init__" the binding library would expect an instance of its own layout.
  const bool constructor = std::string_view(name) == "__init__";
  owner.attr(name) = py::cpp_function(function, py::name(constructor ? "initialise" : name),
                                      py::is_method(owner), extra...);
}

/// Sets a static operation on a class (or a function on a module).
template <class F, class... Extra>
void static_method(py::handle owner, const char* name, F function, const Extra&... extra) {
  const py::cpp_function bound(function, py::name(name), py::scope(owner), extra...);
  const auto make = py::module_::import("builtins").attr("staticmethod");
  owner.attr(name) = PyType_Check(owner.ptr()) != 0 ? py::object(make(bound)) : py::object(bound);
}

/// Sets a read-only property on a class.
template <class F>
void property(py::handle owner, const char* name, F getter, const char* doc) {
  const py::cpp_function bound(getter, py::name(name), py::is_method(owner));
  owner.attr(name) =
      py::module_::import("builtins").attr("property")(bound, py::none(), py::none(), to_text(doc));
}

/// The same with a setter, which is called with the instance and the value.
template <class F, class G>
void property(py::handle owner, const char* name, F getter, G setter, const char* doc) {
  const py::cpp_function read(getter, py::name(name), py::is_method(owner));
  const py::cpp_function write(setter, py::name(name), py::is_method(owner));
  owner.attr(name) =
      py::module_::import("builtins").attr("property")(read, write, py::none(), to_text(doc));
}

/// One abstract operation of a host-facing base.
struct AbstractOperation {
  const char* name;
  const char* doc;
};

/// Defines methods that raise a not-implemented error until a host overrides them.
void abstract_methods(py::handle owner, std::initializer_list<AbstractOperation> operations);
/// The same for properties. A host overrides them, or sets plain attributes of the same name.
void abstract_properties(py::handle owner, std::initializer_list<AbstractOperation> operations);

}  // namespace kavel::host
