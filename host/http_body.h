// What the bodies of all requests to the shared server have in common.
#pragma once

#include "core/foundation/http_answer.h"
#include "host/py.h"

namespace kavel::host {

/// The class constant `headers`: a fresh map of the headers that go with a body.
[[nodiscard]] inline py::dict json_headers() {
  py::dict headers;
  headers[to_text(foundation::kContentType)] = to_text(foundation::kJsonContent);
  return headers;
}

/// Text and bytes of a request whose `text()` is JSON.
template <class Request>
void bind_json_body(py::class_<Request>& request) {
  request.attr("headers") = json_headers();
  request.def("__str__", &Request::text, "The body's text.");
  request.def(
      "__bytes__", [](const Request& self) { return py::bytes(self.text()); }, "The body, UTF-8.");
}

}  // namespace kavel::host
