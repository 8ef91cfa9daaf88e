#include "host/py.h"
#include "host/runtime/ending.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

/// Seconds after which a thread that waits for a lock looks whether it has to leave.
constexpr double kLockSlice = 0.05;

/// Held as a plain reference: a lock lives inside a core object that dies with the interpreter's
/// lock held.
class InterpreterLock final : public runtime::Lock {
 public:
  InterpreterLock()
      : lock_(to_value(py::module_::import("threading").attr("Lock")())),
        acquire_(to_value(from_value(lock_).attr("acquire"))),
        release_(to_value(from_value(lock_).attr("release"))) {}

  void acquire() override {
    if (try_acquire()) return;
    const py::object acquire = from_value(acquire_);
    const py::tuple arguments = py::make_tuple(true, kLockSlice);
    while (!call_and_wait(acquire, arguments).cast<bool>()) continue;
  }
  bool try_acquire() override {
    PyObject* const result = PyObject_CallOneArg(static_cast<PyObject*>(acquire_.get()), Py_False);
    if (result == nullptr) throw py::error_already_set();
    Py_DECREF(result);
    return result == Py_True;
  }
  void release() override { run(release_); }
  [[nodiscard]] Value value() const override { return lock_; }

 private:
  static void run(const Value& operation) {
    PyObject* const result = PyObject_CallNoArgs(static_cast<PyObject*>(operation.get()));
    if (result == nullptr) throw py::error_already_set();
    Py_DECREF(result);
  }

  Value lock_;
  // Bound once: a lock guards each of a million small steps.
  Value acquire_;
  Value release_;
};

class InterpreterThreads final : public runtime::Threads {
 public:
  std::unique_ptr<runtime::Lock> make_lock() override {
    return std::make_unique<InterpreterLock>();
  }
};

}  // namespace

runtime::Threads* threads_port() {
  static InterpreterThreads port;
  return &port;
}

}  // namespace kavel::host
