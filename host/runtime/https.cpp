#include "core/runtime/https.h"

#include "host/py.h"
#include "host/runtime/ending.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

void close_quietly(const py::object& connection) {
  try {
    connection.attr("close")();
  } catch (const py::error_already_set&) {
    // The first failure is the one to report.
  }
}

/// Bytes that the head of a response may have.
constexpr std::size_t kLongestHead = 65536;
constexpr int kChunk = 4096;

double now() { return runtime::services().system->monotonic(); }

/// The next step on the socket ends at `deadline`, in seconds of the monotonic clock.
void allow_until(const py::object& socket, double deadline) {
  const double left = deadline - now();
  if (left <= 0) {
    PyErr_SetString(PyExc_TimeoutError, "timed out");
    throw py::error_already_set();
  }
  (void)socket.attr("settimeout")(left);
}

/// A response up to the end of its headers, or of what the server sends.
std::string read_head(const py::object& socket, double deadline) {
  std::string head;
  while (head.find("\r\n\r\n") == std::string::npos && head.find("\n\n") == std::string::npos) {
    allow_until(socket, deadline);
    const py::object chunk = call_and_wait(socket.attr("recv"), py::make_tuple(kChunk));
    const auto bytes = static_cast<std::string>(py::bytes(chunk));
    if (bytes.empty()) break;
    head += bytes;
    if (head.size() > kLongestHead) {
      PyErr_SetString(PyExc_OSError, "the headers of the response are too long");
      throw py::error_already_set();
    }
  }
  return head;
}

/// The value of a header. The response that the library reads from a socket by itself would begin
/// its time anew with every byte.
py::object parsed_header(const std::string& head, const std::string& name) {
  py::dict streams;
  streams["rb"] = py::module_::import("io").attr("BytesIO")(py::bytes(head));
  const py::object source = py::module_::import("types").attr("SimpleNamespace")(
      py::arg("makefile") = streams.attr("get"));
  const py::object response =
      py::module_::import("http.client").attr("HTTPResponse")(source, py::arg("method") = "GET");
  (void)response.attr("begin")();
  return response.attr("getheader")(to_text(name), "");
}

class InterpreterHttps final : public runtime::Https {
 public:
  std::string header(const std::string& host, const std::string& path, const std::string& name,
                     double timeout) override {
    leave_when_ending();
    const double deadline = now() + timeout;
    const py::object connection =
        py::module_::import("http.client")
            .attr("HTTPSConnection")(to_text(host), py::arg("timeout") = timeout,
                                     py::arg("context") = trust());
    try {
      (void)call_and_wait(connection.attr("connect"), py::tuple());
      const py::object socket = connection.attr("sock");
      allow_until(socket, deadline);
      (void)call_and_wait(connection.attr("request"), py::make_tuple("GET", to_text(path)));
      const py::object value = parsed_header(read_head(socket, deadline), name);
      close_quietly(connection);
      return from_text(value);
    } catch (...) {
      close_quietly(connection);
      throw;
    }
  }

 private:
  /// The certificates of the system, or those that the variable SSL_CERT_FILE names.
  static py::object trust() { return py::module_::import("ssl").attr("create_default_context")(); }
};

}  // namespace

runtime::Https* https_port() {
  static InterpreterHttps port;
  return &port;
}

}  // namespace kavel::host
