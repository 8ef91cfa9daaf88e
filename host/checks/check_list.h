// The bindings of check classes and check lists.
#pragma once

#include "host/py.h"

namespace kavel::host {

/// `_Classes` with its report, in the class `Check`.
void bind_check_classes(py::handle scope);
/// `_List` and its parts, in the class `Check`.
void bind_check_list(py::handle scope);
// The parts, in the class `_List`.
void bind_control(py::handle list);
void bind_category(py::handle list);

}  // namespace kavel::host
