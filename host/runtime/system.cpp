#include <chrono>

#include "host/py.h"
#include "host/runtime/ending.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

/// A module that is imported already, without the cost of asking for the import again: clocks are
/// read twice for every check that runs.
py::object imported(const char* name) {
  const auto key = py::reinterpret_steal<py::object>(PyUnicode_InternFromString(name));
  if (!key) throw py::error_already_set();
  auto module = py::reinterpret_steal<py::object>(PyImport_GetModule(key.ptr()));
  if (!module && PyErr_Occurred() != nullptr) throw py::error_already_set();
  return module ? module : py::object(py::module_::import(name));
}

py::object environ() { return py::module_::import("os").attr("environ"); }

class InterpreterSystem final : public runtime::System {
 public:
  double time() override { return imported("time").attr("time")().cast<double>(); }

  // Asked twice for each run of a check, and out of reach of a check that replaces clocks.
  double monotonic() override {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
  }

  void sleep(double seconds) override {
    leave_when_ending();
    (void)call_and_wait(py::module_::import("time").attr("sleep"), py::make_tuple(seconds));
  }

  std::optional<std::string> variable(const std::string& name) override {
    return environ().attr("get")(to_text(name)).cast<std::optional<std::string>>();
  }

  void set_variable(const std::string& name, const std::string& value) override {
    environ()[to_text(name)] = to_text(value);
  }

  std::string platform_name() override { return platform("system"); }
  std::string platform_release() override { return platform("release"); }

  std::string random_stamp() override {
    return from_text(py::module_::import("uuid").attr("uuid4")().attr("hex"));
  }

  double random() override { return py::module_::import("random").attr("random")().cast<double>(); }

 private:
  static std::string platform(const char* question) {
    return from_text(py::module_::import("platform").attr(question)());
  }
};

}  // namespace

runtime::System* system_port() {
  static InterpreterSystem port;
  return &port;
}

}  // namespace kavel::host
