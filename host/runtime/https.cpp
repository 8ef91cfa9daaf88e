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

class InterpreterHttps final : public runtime::Https {
 public:
  std::string header(const std::string& host, const std::string& path, const std::string& name,
                     double timeout) override {
    leave_when_ending();
    const py::object connection =
        py::module_::import("http.client")
            .attr("HTTPSConnection")(to_text(host), py::arg("timeout") = timeout,
                                     py::arg("context") = trust());
    try {
      (void)call_and_wait(connection.attr("request"), py::make_tuple("GET", to_text(path)));
      const py::object response = call_and_wait(connection.attr("getresponse"), py::tuple());
      const py::object value = response.attr("getheader")(to_text(name), "");
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
