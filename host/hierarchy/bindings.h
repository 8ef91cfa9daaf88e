// The binding functions of hierarchy matching; each takes the class in whose scope it binds.
#pragma once

#include "host/py.h"

namespace kavel::host {

void bind_anchor(py::handle hierarchy);
void bind_anchor_state(py::handle anchor);
void bind_pattern(py::handle hierarchy);
void bind_checklists(py::handle pattern);
void bind_sorter(py::handle pattern);
void bind_search(py::handle hierarchy);
void bind_matcher(py::module_& module);

}  // namespace kavel::host
