// What the interpreter knows of the exception that is being handled.
#pragma once

#include <exception>
#include <optional>
#include <string>

#include "core/runtime/value.h"

namespace kavel::runtime {

/// How the interpreter would name a fault in the log.
struct FaultReport {
  std::string class_name;
  std::string message;
  /// The interpreter's traceback without line breaks at its ends; empty when there is none.
  std::string traceback;
};

class Faults {
 public:
  virtual ~Faults() = default;
  /// Describes `error`; nothing for what must not be caught: an interrupt, the end of a generator
  /// and the interpreter's exit.
  [[nodiscard]] virtual std::optional<FaultReport> report(const std::exception_ptr& error) = 0;
  /// The same for code that must not take the program down: nothing only for an interrupt and the
  /// end of a generator.
  [[nodiscard]] virtual std::optional<FaultReport> report_foreign(
      const std::exception_ptr& error) = 0;
  /// The interpreter's exception for `error`, without the traceback and what it was raised in, so
  /// that it can be kept.
  [[nodiscard]] virtual Value keep(const std::exception_ptr& error) = 0;
  /// Raises an exception that was kept, as often as wanted.
  [[noreturn]] virtual void raise(const Value& exception) = 0;
  /// Whether `error` is an instance of the interpreter's exception class of that name among its
  /// built-in ones ("FileNotFoundError", "OSError", "UnicodeDecodeError", "RecursionError").
  [[nodiscard]] virtual bool is(const std::exception_ptr& error, const char* class_name) = 0;
};

}  // namespace kavel::runtime
