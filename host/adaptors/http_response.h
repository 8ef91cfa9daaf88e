// The host's response to a request: any object in the manner of the interpreter's HTTP clients.
#pragma once

#include "host/py.h"

namespace kavel::host {

/// Whether its `status`, or where there is none `getcode()` or `code`, is 200. An exception of the
/// response is logged and counts as no.
[[nodiscard]] bool reports_success(const py::object& response);

}  // namespace kavel::host
