// Failures that are looked at later than they happen: where many steps go on without the one that
// failed, or where a lock is held that must not be held while something is logged.
#pragma once

#include <exception>
#include <utility>

#include "core/foundation/logger.h"
#include "core/runtime/services.h"

namespace kavel::foundation {

/// Runs `work`; returns what it failed with, null when it did not. Interrupts pass.
template <class Work>
[[nodiscard]] std::exception_ptr failure_of(Work&& work) {
  try {
    std::forward<Work>(work)();
    return nullptr;
  } catch (...) {
    const std::exception_ptr failure = std::current_exception();
    if (!runtime::services().faults->report(failure)) throw;
    return failure;
  }
}

/// Logs a failure; nothing happens for none.
inline void log_failure(const std::exception_ptr& failure) {
  if (failure) guarded([&failure] { std::rethrow_exception(failure); });
}

}  // namespace kavel::foundation
