#include "host/runtime/runtime.h"

#include "host/py.h"
#include "host/runtime/ending.h"

namespace kavel::host {
namespace {

PyObject* object(void* value) { return static_cast<PyObject*>(value); }

bool equal(void* left, void* right) {
  const int result = PyObject_RichCompareBool(object(left), object(right), Py_EQ);
  if (result < 0) throw py::error_already_set();
  return result != 0;
}

void* call(void* callable, void* const* arguments, int count) {
  py::tuple packed(static_cast<std::size_t>(count));
  for (int index = 0; index < count; ++index) {
    packed[static_cast<std::size_t>(index)] =
        py::reinterpret_borrow<py::object>(object(arguments[index]));
  }
  return call_and_wait(object(callable), packed).release().ptr();
}

}  // namespace

void install_runtime() {
  runtime::install_value_operations({
      .retain = [](void* value) noexcept { Py_INCREF(object(value)); },
      .release = [](void* value) noexcept { Py_DECREF(object(value)); },
      .equal = equal,
      .call = call,
  });
  runtime::install_face_maker([](const Object& object) { (void)expose(&object); });
  runtime::services() = {
      .regex = regex_port(),
      .json = json_port(),
      .log = log_port(),
      .system = system_port(),
      .threads = threads_port(),
      .files = files_port(),
      .faults = faults_port(),
      .unicode = unicode_port(),
      .data = data_port(),
      .modules = modules_port(),
      .https = https_port(),
  };
}

}  // namespace kavel::host
