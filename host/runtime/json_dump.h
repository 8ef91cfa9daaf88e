// JSON text of the interpreter's objects without its own encoder, which is slow once it indents.
#pragma once

#include <optional>
#include <string>

#include "host/py.h"

namespace kavel::host {

/// The bytes that the interpreter would write: indented by 2, UTF-8, lone surrogates as escapes.
/// Nothing for data that only its encoder treats (keys that are no texts, foreign classes, data
/// that holds itself or is very deep).
[[nodiscard]] std::optional<std::string> dump_indented(py::handle object);

}  // namespace kavel::host
