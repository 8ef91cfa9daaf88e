#include "core/services/server.h"

#include "core/foundation/errors.h"
#include "host/bindings.h"

namespace kavel::host {

using services::Server;

void bind_server(py::module_& module) {
  auto server = define<Server>(module.attr("Api"), "_Http",
                               "Bodies for the shared server and what becomes of its answers.");
  define_init(
      server, [](Value api) { return new Server(std::move(api)); }, py::arg("api"),
      "Keeps the facade; called by `Api`.");
  for (const char* name : {"projects_request", "statistics_request"}) {
    server.def(
        name,
        [](const Server&) { throw foundation::not_implemented("exchange with a shared server"); },
        "The body to send. Errors: not implemented in this version.");
  }
  for (const char* name : {"projects_response", "statistics_response"}) {
    server.def(
        name,
        [](const Server&, const py::object&) {
          throw foundation::not_implemented("exchange with a shared server");
        },
        py::arg("response"), "Takes the answer. Errors: not implemented in this version.");
  }
  server.def(
      "http_no_response",
      [](const Server& self) { from_value(self.api).attr("callbacks").attr("http_no_response")(); },
      "Tells the handlers of `http_no_response` that the server could not be reached.");
  server.def_property_readonly(
      "_api", [](const Server& self) { return self.api; }, "The facade.");
  server.def_property_readonly(
      "_last_projects", [](const Server& self) { return self.last_projects; },
      "The last answer with projects, or none.");
}

}  // namespace kavel::host
