// Secure connections as the interpreter's standard library makes them. The server must prove who it
// is to the certificates that the interpreter trusts; there is no way around that.
#pragma once

#include <string>

namespace kavel::runtime {

class Https {
 public:
  virtual ~Https() = default;
  /// Sends a GET request and returns a header of the response, empty when it is absent. `host` may
  /// name a port ("host:port"). Connecting to each address of the host ends after `timeout`
  /// seconds, and so does the answer as a whole. Throws the interpreter's own errors.
  [[nodiscard]] virtual std::string header(const std::string& host, const std::string& path,
                                           const std::string& name, double timeout) = 0;
};

}  // namespace kavel::runtime
