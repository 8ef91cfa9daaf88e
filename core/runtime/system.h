// Clock, process environment and random identities, asked of the interpreter at call time.
#pragma once

#include <optional>
#include <string>

namespace kavel::runtime {

class System {
 public:
  virtual ~System() = default;
  /// Seconds since the epoch.
  [[nodiscard]] virtual double time() = 0;
  /// Seconds of a clock that never goes back.
  [[nodiscard]] virtual double monotonic() = 0;
  /// Waits with the interpreter's lock released.
  virtual void sleep(double seconds) = 0;
  [[nodiscard]] virtual std::optional<std::string> variable(const std::string& name) = 0;
  virtual void set_variable(const std::string& name, const std::string& value) = 0;
  /// Name and release of the operating system.
  [[nodiscard]] virtual std::string platform_name() = 0;
  [[nodiscard]] virtual std::string platform_release() = 0;
  /// 32 lower-case hexadecimal digits of a fresh random UUID.
  [[nodiscard]] virtual std::string random_stamp() = 0;
  /// A random real number in [0, 1).
  [[nodiscard]] virtual double random() = 0;
};

}  // namespace kavel::runtime
