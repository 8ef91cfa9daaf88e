#include "core/services/server.h"

#include "host/adaptors/server_api.h"
#include "host/bindings.h"

namespace kavel::host {

using services::Server;

void bind_server(py::module_& module) {
  auto server = define<Server>(module.attr("Api"), "_Http",
                               "Bodies for the shared server and what becomes of its answers.");
  define_init(
      server, [](const py::object& api) { return new Server(server_api(api)); }, py::arg("api"),
      "Keeps the facade; called by `Api`.");
  server.def("projects_request", &Server::projects_request,
             "The projects to send, a `_Project.Collection.HttpRequest`.");
  server.def("projects_response", &Server::projects_response, py::arg("response"),
             "Takes the host's response with projects: an accepted one that differs from the last "
             "is taken over, the current project is loaded and `projects_synchronized` fires. "
             "`projects_response_closed` fires in every case; failures are logged.");
  server.def("statistics_request", &Server::statistics_request,
             "The usage records to send, a `_Statistics.HttpRequest`.");
  server.def("statistics_response", &Server::statistics_response, py::arg("response"),
             "Takes the host's response to records; an accepted one erases what was sent where the "
             "server settings say so.");
  server.def("http_no_response", &Server::http_no_response,
             "Tells the handlers of `http_no_response` that the server could not be reached.");
  server.def_property_readonly(
      "_api", [](const Server& self) { return self.api().object(); }, "The facade.");
  server.def_property_readonly(
      "_last_projects", [](const Server& self) { return self.last_projects(); },
      "The last answer with projects, a `_Project.Collection.HttpResponse`, or none.");
}

}  // namespace kavel::host
