// Unified texts: the class `_Str` that names handed to a host have.
#pragma once

#include "host/py.h"

namespace kavel::host {

/// A unified text of these characters.
[[nodiscard]] py::object unified(std::string_view text);

}  // namespace kavel::host
