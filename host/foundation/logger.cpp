#include "host/bindings.h"
#include "host/classes.h"
#include "host/runtime/log.h"

namespace kavel::host {
namespace {

void call_root(const char* level, const py::args& arguments, const py::dict& keywords) {
  while_there_is_a_log([&] { log_call(root_logger().attr(level), arguments, keywords); });
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

}  // namespace

void bind_logger(py::module_& module) {
  module.attr("_log_threads") = py::list();
  py::module_::import("atexit").attr("register")(py::cpp_function(finish_threads));
  const py::object logger = namespace_class(
      module, "Logger", "The interpreter's root logger, called so that nobody waits for it.");
  logger.attr("_root") = py::module_::import("logging").attr("getLogger")();
  static_method(
      logger, "_call",
      [](const py::object& target, const py::args& arguments, const py::kwargs& keywords) {
        while_there_is_a_log([&] { log_call(target, arguments, keywords); });
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
      py::arg("msg"),
      "Logs an error whose text ends with the traceback of the exception being handled.");
}

}  // namespace kavel::host
