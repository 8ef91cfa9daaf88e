// An export format that a host hands in: any object with the attributes of an options tree.
#pragma once

#include "core/export/options.h"
#include "host/py.h"

namespace kavel::host {

/// The formats of a sequence; a class is instantiated without arguments, none gives no formats.
/// Throws an assertion failure for an element that is no format.
[[nodiscard]] exporting::Options::Formats formats(const py::object& options);

}  // namespace kavel::host
