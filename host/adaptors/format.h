// An export format that a host hands in: an options tree, whose operations the host may override.
#pragma once

#include "core/export/options.h"
#include "host/py.h"

namespace kavel::host {

/// The formats of a sequence of `Parameters.Options`; a class derived from it is instantiated
/// without arguments, none gives no formats. Throws an assertion failure for any other element.
[[nodiscard]] exporting::Options::Formats formats(const py::object& options);

}  // namespace kavel::host
