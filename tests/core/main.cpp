// Runs the C++ tests with one interpreter embedded, in which `core` is imported like a module.
#include <gtest/gtest.h>
#include <pybind11/embed.h>

#include "host/bindings.h"
#include "host/py.h"

// NOLINTNEXTLINE: the macro of the binding library
PYBIND11_EMBEDDED_MODULE(core, module) { kavel::host::bind_core(module); }

int main(int count, char** arguments) {
  testing::InitGoogleTest(&count, arguments);
  if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
  const py::scoped_interpreter interpreter;
  const py::module_ core = py::module_::import("core");
  return RUN_ALL_TESTS();
}
