// The interpreter's logging facility. No call waits for the log.
#pragma once

#include <string>

namespace kavel::runtime {

enum class LogLevel { debug, info, warning, error };

class Log {
 public:
  virtual ~Log() = default;
  /// Writes `message` as it stands (never used as a format).
  virtual void write(LogLevel level, const std::string& message) = 0;
};

}  // namespace kavel::runtime
