// The host's response to a request: any object in the manner of the interpreter's HTTP clients.
#pragma once

#include "core/foundation/http_answer.h"
#include "host/py.h"

namespace kavel::host {

/// Whether its `status`, or where there is none `getcode()` or `code`, is 200. An exception of the
/// response is logged and counts as no.
[[nodiscard]] bool reports_success(const py::object& response);

/// Header and body of a response, for the time of one call.
class HostAnswer final : public foundation::HttpAnswer {
 public:
  explicit HostAnswer(const py::object& response) : response_(response) {}

  /// From `getheader(name)`, or where that has none from the map or pairs `headers`, whose names
  /// are compared without regard to case.
  [[nodiscard]] std::string content_type() override;
  /// From `read()`, bytes.
  [[nodiscard]] std::string body() override;

 private:
  const py::object& response_;
};

}  // namespace kavel::host
