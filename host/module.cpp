// The extension module `core`.
#include "host/bindings.h"
#include "host/py.h"

PYBIND11_MODULE(core, module) { kavel::host::bind_core(module); }
