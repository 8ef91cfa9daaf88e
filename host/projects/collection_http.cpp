#include "core/projects/collection_http.h"

#include "host/adaptors/http_response.h"
#include "host/http_body.h"
#include "host/projects/projects.h"

namespace kavel::host {
namespace {

using foundation::Json;
using projects::ProjectsRequest;
using projects::ProjectsResponse;

py::iterator each(const Json::Array& projects) { return py::iter(from_json(projects)); }

void bind_request(py::handle collection) {
  auto request = define<ProjectsRequest>(collection, "HttpRequest",
                                         "The body of a request: all projects as JSON.");
  define_init(
      request,
      [](std::string target, const py::object& projects) {
        const Json list = list_argument(projects);
        if (list.array() == nullptr) throw py::type_error("projects are a sequence");
        return new ProjectsRequest(std::move(target), *list.array());
      },
      py::arg("target"), py::arg("projects"),
      "From a host application and data of projects. TypeError for what JSON has no form for.");
  request.def_readonly("target", &ProjectsRequest::target,
                       "The host application whose projects these are.");
  request.def_property_readonly(
      "projects", [](const ProjectsRequest& self) { return Json(self.projects); },
      "Data of the projects with \"edit_timestamp\", a fresh list.");
  request.def("__iter__", [](const ProjectsRequest& self) { return each(self.projects); });
  bind_json_body(request);
}

bool equals(const ProjectsResponse& self, const py::object& other) {
  return py::isinstance<ProjectsResponse>(other) && self == other.cast<const ProjectsResponse&>();
}

void bind_response(py::handle collection) {
  auto response = define<ProjectsResponse>(collection, "HttpResponse",
                                           "The projects in the answer of a shared server.");
  response.attr("headers") = json_headers();
  define_init(
      response,
      [](const py::object& raw) {
        HostAnswer answer(raw);
        return new ProjectsResponse(answer);
      },
      py::arg("response"),
      "From the host's response: `getheader(name)` or `headers`, and `read()`. What cannot be used "
      "is logged and not accepted.");
  response.def(
      "_decode",
      [](ProjectsResponse& self, const py::object& raw) {
        HostAnswer answer(raw);
        self.decode(answer);
      },
      py::arg("response"), "Reads another response in place of the one before.");
  response.def_property_readonly(
      "accepted", [](const ProjectsResponse& self) { return self.content()->accepted; },
      "Whether the content type is that of `headers` and the body is a JSON array of projects.");
  response.def_property_readonly(
      "projects", [](const ProjectsResponse& self) { return Json(self.content()->projects); },
      "Data of the projects that have a safe file name, a fresh list; empty unless accepted.");
  response.def("__iter__",
               [](const ProjectsResponse& self) { return each(self.content()->projects); });
  response.def("__eq__", &equals, "Whether the other has the same projects.");
  response.def("__ne__", [](const ProjectsResponse& self, const py::object& other) {
    return !equals(self, other);
  });
}

}  // namespace

void bind_collection_http(py::handle collection) {
  bind_request(collection);
  bind_response(collection);
}

Ref<ProjectsResponse> projects_response(const py::object& response) {
  if (py::isinstance<ProjectsResponse>(response)) return response.cast<Ref<ProjectsResponse>>();
  HostAnswer answer(response);
  return runtime::make<ProjectsResponse>(answer);
}

}  // namespace kavel::host
