#include "host/adaptors/project_api.h"

#include "core/facade/constants.h"
#include "core/projects/record.h"

namespace kavel::host {

std::string ApiStandIn::target() { return from_text(object().attr("env").attr("target")); }

std::string ApiStandIn::projects_directory() {
  return from_text(object().attr("env").attr("get_projects_directory")());
}

void ApiStandIn::announce_saved() { object().attr("callbacks").attr("projects_saved")(); }

std::string ApiStandIn::current_project() {
  const py::object filename = object().attr("settings").attr("workspace").attr("project");
  // Whatever else the settings hold names no project.
  return is_text(filename) ? from_text(filename) : "";
}

void ApiStandIn::remember_project(const std::string& filename) {
  const py::object settings = object().attr("settings");
  settings.attr("workspace").attr("project") = to_text(filename);
  settings.attr("write")();
}

bool ApiStandIn::is_project_mode() {
  const py::object mode = object().attr("settings").attr("check").attr("mode");
  return mode.equal(py::int_(static_cast<int>(facade::CheckMode::project)));
}

void ApiStandIn::load_export(const foundation::Json& options, const foundation::Json& flags) {
  const py::object component = object().attr("export");
  component.attr("options").attr("load")(from_json(options));
  component.attr("flags").attr("load")(from_json(flags));
}

void MatcherStandIn::set_pattern(const Ref<projects::Record>& record) {
  object().attr("pattern").attr("set")(expose(record));
}

std::int64_t MatcherStandIn::check_reloads() {
  py::object found = object();
  for (const char* name : {"pattern", "check_classes", "reloads"}) {
    found = py::getattr(found, name, py::none());
  }
  return py::isinstance<py::int_>(found) ? found.cast<std::int64_t>() : 0;
}

}  // namespace kavel::host
