// Log entries of the core, and the one place where a failure is caught and logged so that it does
// not disturb the user's work.
#pragma once

#include <string>
#include <utility>

#include "core/runtime/log.h"

namespace kavel::foundation {

void log_debug(const std::string& message);
void log_info(const std::string& message);
void log_warning(const std::string& message);
void log_error(const std::string& message);

/// Logs the exception being handled as "class name: message" with its traceback. Call it inside a
/// catch block only; throws on what must not be caught (an interrupt, the interpreter's exit).
void log_exception();

/// Runs `work`; a failure is logged and answered with false. Interrupts pass.
template <class Work>
bool guarded(Work&& work) {
  try {
    std::forward<Work>(work)();
    return true;
  } catch (...) {
    log_exception();
    return false;
  }
}

/// `log_exception` for code that may try to leave the program, such as a check: only an interrupt
/// and the end of a generator are thrown on. A failing log is no failure of that code.
void log_foreign_exception();

/// `guarded` for such code.
template <class Work>
bool guarded_foreign(Work&& work) {
  try {
    std::forward<Work>(work)();
    return true;
  } catch (...) {
    log_foreign_exception();
    return false;
  }
}

}  // namespace kavel::foundation
