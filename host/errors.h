// Errors both ways: the core's kinds become the interpreter's classes, and the interpreter's
// exceptions are described for the core's log.
#pragma once

#include "core/foundation/errors.h"
#include "host/py.h"

namespace kavel::host {

/// Makes the classes of `Error` in `module` and installs the translation of core errors.
void bind_errors(py::module_& module);

/// The interpreter's class for a kind of core error.
[[nodiscard]] py::object error_class(foundation::ErrorKind kind);

/// Sets the interpreter's pending exception from a core error.
void raise(const foundation::Error& error);

/// The interpreter's exception for an error that was caught.
[[nodiscard]] py::object exception_object(const std::exception_ptr& error);

}  // namespace kavel::host
