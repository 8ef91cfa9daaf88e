// The binding functions within the subsystem.
#pragma once

#include "host/py.h"

namespace kavel::host {

/// Defines joints, buckets and their lists in the class of the buffer.
void bind_joints(py::handle buffer);

}  // namespace kavel::host
