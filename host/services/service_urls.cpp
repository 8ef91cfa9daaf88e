#include "core/services/service_urls.h"

#include "host/services/services.h"

namespace kavel::host {

using services::ServicePaths;
using services::ServiceUrls;

void bind_service_urls(py::handle settings) {
  auto urls = define<ServiceUrls>(settings, "URLs", "Addresses of the online services.");
  auto paths = define<ServicePaths>(urls, "Path", "Paths on the host of the online services.");
  define_init(
      paths,
      [](const std::string& target, const std::string& scope) {
        return new ServicePaths(target, scope);
      },
      py::arg("target"), py::arg("scope"), "For a host application and a scope of settings.");
  paths.def_static("format_scope", &ServicePaths::format_scope, py::arg("scope"),
                   "The parts of a dotted scope, joined with \"-\".");
  paths.def_readonly("latest", &ServicePaths::latest, "Path of the latest release.");
  paths.def_readonly("documentation", &ServicePaths::documentation, "Path of the documentation.");
  paths.def_readonly("feedback", &ServicePaths::feedback, "Path that takes messages.");

  define_init(
      urls,
      [](const std::string& target, const std::string& scope) {
        return new ServiceUrls(target, scope);
      },
      py::arg("target"), py::arg("scope"), "For a host application and a scope of settings.");
  urls.def_readonly("host", &ServiceUrls::host, "Name of the host, reserved and not resolved.");
  urls.def_readonly("port", &ServiceUrls::port, "Port of the host.");
  urls.def_property_readonly(
      "path", [](const ServiceUrls& self) { return self.path; }, "The paths on the host.");
  urls.def_readonly("home", &ServiceUrls::home, "Address of the host.");
  urls.def_readonly("latest", &ServiceUrls::latest, "Address of the latest release.");
  urls.def_readonly("documentation", &ServiceUrls::documentation, "Address of the documentation.");
  urls.def_readonly("documentation_editor", &ServiceUrls::documentation_editor,
                    "Address of the documentation of the project editor.");
  urls.def_readonly("feedback", &ServiceUrls::feedback, "Address that takes messages.");
}

}  // namespace kavel::host
