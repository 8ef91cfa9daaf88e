// Paths as a host may give them.
#pragma once

#include "host/py.h"

namespace kavel::host {

/// The text of a path: a text itself, or an object that stands for a path in the file system.
[[nodiscard]] inline std::string path_text(py::handle path) {
  return from_text(py::module_::import("os").attr("fspath")(path));
}

}  // namespace kavel::host
