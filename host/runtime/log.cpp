// Log calls run on short-lived threads, so that no caller waits for the log.
//
// Life cycle: each call starts a daemon thread whose target is the root logger's own method, so no
// C++ frame is on its stack when the interpreter ends. At exit the threads still running are given
// a moment to finish; calls made after that, or while the interpreter is being taken down, log on
// the calling thread, because a thread started then would hang or be killed while it holds a lock.
#include "host/runtime/log.h"

#include <algorithm>

#include "host/runtime/ending.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

/// Seconds that threads still writing are waited for when the interpreter exits.
constexpr double kExitPatience = 2.0;
/// Finished threads up to this many are not looked for.
constexpr std::size_t kFewThreads = 16;

bool interpreter_ends = false;

/// The threads that may still run; kept in the module so that the interpreter owns it.
py::list running_threads() { return py::module_::import("core").attr("_log_threads"); }

/// Looks only when the list has doubled, or many entries at once would each look at all others.
void forget_finished(py::list& threads) {
  static std::size_t limit = kFewThreads;
  if (threads.size() < limit) return;
  const py::object running = threads.attr("copy")();
  for (const py::handle thread : running) {
    if (thread.attr("is_alive")().cast<bool>()) continue;
    // One by one: asking a thread lets others in, which add theirs and forget the same ones.
    if (threads.contains(thread)) threads.attr("remove")(thread);
  }
  limit = std::max(kFewThreads, 2 * threads.size());
}

/// The thread of a call, running; null when there is none to be had.
py::object start_thread(const py::object& target, const py::tuple& arguments,
                        const py::dict& keywords) {
  try {
    py::object thread = py::module_::import("threading")
                            .attr("Thread")(py::arg("target") = target, py::arg("args") = arguments,
                                            py::arg("kwargs") = keywords, py::arg("daemon") = true);
    thread.attr("start")();
    return thread;
  } catch (const py::error_already_set& error) {
    // An interrupt arrives here often, since starting waits for the new thread.
    if (!error.matches(PyExc_Exception)) throw;
    return {};
  }
}

class InterpreterLog final : public runtime::Log {
 public:
  void write(runtime::LogLevel level, const std::string& message) override {
    const char* const name = [level] {
      switch (level) {
        case runtime::LogLevel::debug:
          return "debug";
        case runtime::LogLevel::info:
          return "info";
        case runtime::LogLevel::warning:
          return "warning";
        default:
          return "error";
      }
    }();
    while_there_is_a_log(
        [&] { log_call(root_logger().attr(name), py::make_tuple(to_text(message)), py::dict()); });
  }
};

}  // namespace

py::object root_logger() { return py::module_::import("core").attr("Logger").attr("_root"); }

bool is_finalizing() {
#if PY_VERSION_HEX >= 0x030D0000
  return Py_IsFinalizing() != 0;
#else
  return _Py_IsFinalizing() != 0;
#endif
}

void log_call(const py::object& target, const py::tuple& arguments, const py::dict& keywords) {
  if (!interpreter_ends && !is_finalizing()) {
    if (const py::object thread = start_thread(target, arguments, keywords)) {
      py::list threads = running_threads();
      forget_finished(threads);
      threads.append(thread);
      return;
    }
    // No thread to be had: the entry matters more than the wait.
  }
  target(*arguments, **keywords);
}

void finish_threads() {
  end_calls(kExitPatience);
  interpreter_ends = true;
  const py::object clock = py::module_::import("time").attr("monotonic");
  const double end = clock().cast<double>() + kExitPatience;
  for (const py::handle thread : running_threads().attr("copy")()) {
    const double left = end - clock().cast<double>();
    if (left > 0) thread.attr("join")(left);
  }
}

runtime::Log* log_port() {
  static InterpreterLog port;
  return &port;
}

}  // namespace kavel::host
