// Log calls run on short-lived threads, so that no caller waits for the log.
//
// Life cycle: each call starts a daemon thread whose target is the root logger's own method, so no
// C++ frame is on its stack when the interpreter ends. At exit the threads still running are given
// a moment to finish; calls made after that, or while the interpreter is being taken down, log on
// the calling thread, because a thread started then would hang or be killed while it holds a lock.
#include "host/bindings.h"
#include "host/classes.h"
#include "host/runtime/ending.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

/// Seconds that threads still writing are waited for when the interpreter exits.
constexpr double kExitPatience = 2.0;

bool interpreter_ends = false;

/// From then on the interpreter takes its modules down, the log's among them.
bool is_finalizing() {
#if PY_VERSION_HEX >= 0x030D0000
  return Py_IsFinalizing() != 0;
#else
  return _Py_IsFinalizing() != 0;
#endif
}

/// Makes a log call; one made when there is nothing left to log with is dropped.
template <class Call>
void while_there_is_a_log(Call&& call) {
  try {
    std::forward<Call>(call)();
  } catch (const py::error_already_set&) {
    if (!is_finalizing()) throw;
  }
}

py::object root_logger() { return py::module_::import("logging").attr("getLogger")(); }

/// The threads that may still run; kept in the module so that the interpreter owns it.
py::list running_threads() { return py::module_::import("core").attr("_log_threads"); }

void forget_finished(py::list& threads) {
  py::list alive;
  for (const py::handle thread : threads) {
    if (thread.attr("is_alive")().cast<bool>()) alive.append(thread);
  }
  threads.attr("clear")();
  threads.attr("extend")(alive);
}

void launch(const py::object& target, const py::tuple& arguments, const py::dict& keywords) {
  if (!interpreter_ends && !is_finalizing()) {
    try {
      const py::object thread =
          py::module_::import("threading")
              .attr("Thread")(py::arg("target") = target, py::arg("args") = arguments,
                              py::arg("kwargs") = keywords, py::arg("daemon") = true);
      py::list threads = running_threads();
      forget_finished(threads);
      thread.attr("start")();
      threads.append(thread);
      return;
    } catch (const py::error_already_set&) {
      // No thread to be had: the entry matters more than the wait.
    }
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

void call_root(const char* level, const py::args& arguments, const py::dict& keywords) {
  while_there_is_a_log([&] { launch(root_logger().attr(level), arguments, keywords); });
}

void log_error_entry(const py::args& arguments, const py::dict& keywords) {
  keywords["exc_info"] = false;
  call_root("error", arguments, keywords);
}

/// The traceback of the exception being handled; empty when there is none.
std::string current_traceback() {
  const py::object kind = py::module_::import("sys").attr("exc_info")()[py::int_(0)];
  if (kind.is_none()) return "";
  return from_text(py::module_::import("traceback").attr("format_exc")().attr("strip")("\n"));
}

void log_exception_entry(const py::object& message, const py::args& arguments,
                         const py::dict& keywords) {
  py::object entry = message;
  if (const std::string traceback = current_traceback(); !traceback.empty()) {
    py::str text = to_text(traceback);
    // The traceback is part of the format only when there is something to format.
    if (!arguments.empty()) text = text.attr("replace")("%", "%%");
    entry = py::str("").attr("join")(py::make_tuple(py::str(message), "\n", text));
  }
  log_error_entry(py::args(py::make_tuple(entry) + arguments), keywords);
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
        [&] { launch(root_logger().attr(name), py::make_tuple(to_text(message)), py::dict()); });
  }
};

}  // namespace

runtime::Log* log_port() {
  static InterpreterLog port;
  return &port;
}

void bind_logger(py::module_& module) {
  module.attr("_log_threads") = py::list();
  py::module_::import("atexit").attr("register")(py::cpp_function(finish_threads));
  const py::object logger = namespace_class(
      module, "Logger", "The interpreter's root logger, called so that nobody waits for it.");
  logger.attr("_root") = root_logger();
  static_method(
      logger, "_call",
      [](const py::object& target, const py::args& arguments, const py::kwargs& keywords) {
        while_there_is_a_log([&] { launch(target, arguments, keywords); });
      },
      "Runs `target` with the arguments on a thread of its own.");
  for (const char* level : {"debug", "info", "warning"}) {
    static_method(
        logger, level,
        [level](const py::args& arguments, const py::kwargs& keywords) {
          call_root(level, arguments, keywords);
        },
        "Logs a message with the arguments of the standard logging call; returns at once.");
  }
  static_method(
      logger, "error",
      [](const py::args& arguments, const py::kwargs& keywords) {
        log_error_entry(arguments, keywords);
      },
      "Logs an error, never with exception information; returns at once.");
  static_method(
      logger, "exception",
      [](const py::object& message, const py::args& arguments, const py::kwargs& keywords) {
        while_there_is_a_log([&] { log_exception_entry(message, arguments, keywords); });
      },
      "Logs an error whose text ends with the traceback of the exception being handled.");
}

}  // namespace kavel::host
