#include "host/adaptors/http_response.h"

#include "core/foundation/logger.h"

namespace kavel::host {
namespace {

constexpr int kOk = 200;

py::object status_of(const py::object& response) {
  py::object status = py::getattr(response, "status", py::none());
  if (!status.is_none()) return status;
  const py::object ask = py::getattr(response, "getcode", py::none());
  if (!ask.is_none()) status = ask();
  return status.is_none() ? py::getattr(response, "code", py::none()) : status;
}

}  // namespace

bool reports_success(const py::object& response) {
  bool success = false;
  foundation::guarded([&] { success = status_of(response).equal(py::int_(kOk)); });
  return success;
}

}  // namespace kavel::host
