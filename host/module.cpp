// The extension module `core`.
#include "host/bindings.h"
#include "host/py.h"

PYBIND11_MODULE(core, module) {
  // Bindings reach each other through the module. Not every loader makes it known before it is
  // whole.
  const py::object known = py::module_::import("sys").attr("modules");
  const py::object name = module.attr("__name__");
  const bool is_known = known.contains(name);
  if (!is_known) known[name] = module;
  try {
    kavel::host::bind_core(module);
  } catch (...) {
    if (!is_known) known.attr("pop")(name, py::none());
    throw;
  }
}
