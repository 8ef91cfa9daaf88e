#include "host/errors.h"

#include "host/classes.h"

namespace kavel::host {
namespace {

using foundation::ErrorKind;

py::object built_in(ErrorKind kind) {
  const auto name = [kind]() -> const char* {
    switch (kind) {
      case ErrorKind::assertion:
        return "AssertionError";
      case ErrorKind::type:
        return "TypeError";
      case ErrorKind::value:
        return "ValueError";
      case ErrorKind::key:
        return "KeyError";
      case ErrorKind::index:
        return "IndexError";
      case ErrorKind::not_implemented:
        return "NotImplementedError";
      case ErrorKind::file_not_found:
        return "FileNotFoundError";
      case ErrorKind::operating_system:
        return "OSError";
      case ErrorKind::recursion:
        return "RecursionError";
      default:
        return "RuntimeError";
    }
  }();
  return py::module_::import("builtins").attr(name);
}

void bind_error(py::handle scope, const foundation::NamedError& row) {
  const auto bases = py::make_tuple(py::reinterpret_borrow<py::object>(PyExc_Exception));
  const std::string message = row.message;
  py::object made = plain_class(scope, row.name, message + ".", bases);
  const bool takes_name = row.takes_name;
  method(
      made, "__init__",
      [](const py::object& self, const py::args& arguments, const py::kwargs& keywords) {
        py::object name = py::none();
        if (!arguments.empty()) name = arguments[0];
        if (keywords.contains("name")) name = keywords["name"];
        self.attr("name") = name;
      },
      "Takes an optional `name`; any further arguments are accepted and not used.");
  method(
      made, "__str__",
      [message, takes_name](const py::object& self) {
        const py::object name = py::getattr(self, "name", py::none());
        if (!takes_name || name.is_none()) return message;
        return message + " - \"" + from_text(py::str(name)) + "\"";
      },
      "The fixed message.");
}

}  // namespace

py::object error_class(ErrorKind kind) {
  for (const auto& row : foundation::kNamedErrors) {
    if (row.kind == kind) return py::module_::import("core").attr("Error").attr(row.name);
  }
  if (kind == ErrorKind::invalid_json) {
    return py::module_::import("json").attr("JSONDecodeError");
  }
  return built_in(kind);
}

void raise(const foundation::Error& error) {
  const py::object type = error_class(error.kind());
  const py::object text = to_text(error.what());
  if (error.kind() == ErrorKind::invalid_json) {
    PyErr_SetObject(type.ptr(), py::make_tuple(text, py::str(""), 0).ptr());
  } else if (error.name()) {
    PyErr_SetObject(type.ptr(), to_text(*error.name()).ptr());
  } else {
    PyErr_SetObject(type.ptr(), text.ptr());
  }
}

py::object exception_object(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const py::error_already_set& raised) {
    return raised.value();
  } catch (const foundation::Error& raised) {
    raise(raised);
  } catch (const py::builtin_exception& raised) {
    raised.set_error();
  } catch (const std::exception& raised) {
    PyErr_SetString(PyExc_RuntimeError, raised.what());
  }
  return py::error_already_set().value();
}

void bind_errors(py::module_& module) {
  const py::object scope =
      namespace_class(module, "Error", "The exceptions of the core, each with a fixed message.");
  for (const auto& row : foundation::kNamedErrors) bind_error(scope, row);
  py::register_exception_translator([](std::exception_ptr pending) {
    try {
      if (pending) std::rethrow_exception(pending);
    } catch (const foundation::Error& error) {
      raise(error);
    }
  });
}

}  // namespace kavel::host
