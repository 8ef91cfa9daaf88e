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
  InterpreterLock() : lock_(to_value(py::module_::import("threading").attr("Lock")())) {}

  void acquire() override {
    const py::object acquire = from_value(lock_).attr("acquire");
    while (!call_and_wait(acquire, {py::bool_(true), py::float_(kLockSlice)}).cast<bool>()) {
      leave_when_ending();
    }
  }
  bool try_acquire() override { return from_value(lock_).attr("acquire")(false).cast<bool>(); }
  void release() override { from_value(lock_).attr("release")(); }
  [[nodiscard]] Value value() const override { return lock_; }

 private:
  Value lock_;
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
