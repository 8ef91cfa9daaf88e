// Log calls that nobody waits for.
#pragma once

#include "host/py.h"

namespace kavel::host {

/// The interpreter's root logger.
[[nodiscard]] py::object root_logger();

/// Runs a log call on a thread of its own; on this one where there is no thread to be had, or the
/// interpreter ends.
void log_call(const py::object& target, const py::tuple& arguments, const py::dict& keywords);

/// From then on the interpreter takes its modules down, the log's among them.
[[nodiscard]] bool is_finalizing();

/// Makes a log call; one made when there is nothing left to log with is dropped.
template <class Call>
void while_there_is_a_log(Call&& call) {
  try {
    std::forward<Call>(call)();
  } catch (const py::error_already_set&) {
    if (!is_finalizing()) throw;
  }
}

/// To be called at exit: waits a moment for calls of other threads in the core and for entries that
/// are being written.
void finish_threads();

}  // namespace kavel::host
