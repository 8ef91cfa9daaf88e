// How the calls of a host's threads end when the interpreter does.
#pragma once

#include "host/py.h"

namespace kavel::host {

/// Lets every bound function of `module` and its classes count the calls that are inside. Call it
/// when everything is bound.
void count_calls(py::handle module);

/// To be called at exit: waits up to `patience` seconds until no call of another thread is inside.
/// From then on a call from another thread ends its thread, as `SystemExit` does.
void end_calls(double patience);

}  // namespace kavel::host
