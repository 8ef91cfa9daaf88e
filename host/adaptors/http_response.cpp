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

/// The value of a header in a map or in pairs; none when it is absent.
py::object header_in(const py::object& headers, std::string_view name) {
  if (headers.is_none()) return py::none();
  const py::object items = py::getattr(headers, "items", py::none());
  const py::object wanted = to_text(name).attr("lower")();
  const py::list pairs(items.is_none() ? headers : items());
  for (const py::handle pair : pairs) {
    const py::tuple entry = py::tuple(py::reinterpret_borrow<py::object>(pair));
    const bool is_named = entry.size() == 2 && is_text(entry[0]);
    if (is_named && entry[0].attr("lower")().equal(wanted)) return entry[1];
  }
  return py::none();
}

}  // namespace

std::string HostAnswer::content_type() {
  py::object value = py::none();
  const py::object ask = py::getattr(response_, "getheader", py::none());
  if (!ask.is_none()) value = ask(to_text(foundation::kContentType));
  if (value.is_none()) {
    value = header_in(py::getattr(response_, "headers", py::none()), foundation::kContentType);
  }
  return value.is_none() ? "" : from_text(py::str(value));
}

std::string HostAnswer::body() {
  const py::object body = response_.attr("read")();
  PyObject* const bytes = PyBytes_FromObject(body.ptr());
  if (bytes == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::bytes>(bytes);
}

bool reports_success(const py::object& response) {
  bool success = false;
  foundation::guarded([&] { success = status_of(response).equal(py::int_(kOk)); });
  return success;
}

}  // namespace kavel::host
