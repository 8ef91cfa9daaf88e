#include "core/services/settings.h"

#include "core/hierarchy/naming.h"
#include "host/bindings.h"
#include "host/classes.h"
#include "host/foundation/path.h"
#include "host/foundation/text.h"
#include "host/services/services.h"

namespace kavel::host {
namespace {

using foundation::Json;
using services::CheckState;
using services::ExportSettings;
using services::ServerSettings;
using services::Settings;
using services::Workspace;

constexpr int kLargestPort = 65535;

/// A member class: made from its data, with the property `data`.
template <class T>
py::class_<T> define_member(py::handle scope, const char* name, const char* doc) {
  auto member = define<T>(scope, name, doc);
  define_init(
      member, [](const Json& data) { return new T(data); }, py::arg("data") = py::dict(),
      "From a map as `data` gives it; what is missing has its default.");
  member.def_property_readonly("data", &T::data, "A fresh map of the content.");
  return member;
}

void bind_state(py::handle check) {
  auto state = define_member<CheckState>(check, "State", "Folders, mode, choices and presets.");
  state.def_readwrite("mode", &CheckState::mode, "One of `Constants.Check.Mode`.");
  state.def_property_readonly(
      "directories", [](const CheckState& self) { return self.directories; },
      "The check directories.");
  state.def_property_readonly(
      "config", [](const CheckState& self) { return self.config; }, "The choices for checks.");
  state.def_property_readonly(
      "presets", [](const CheckState& self) { return self.presets; }, "The presets.");
}

int port_number(const py::int_& port) {
  if (py::isinstance<py::bool_>(port)) throw py::type_error("a port is a number");
  if (port < py::int_(0) || port > py::int_(kLargestPort)) {
    throw py::value_error("a port is a number from 0 to " + std::to_string(kLargestPort));
  }
  return port.cast<int>();
}

void bind_members(py::handle settings) {
  auto exporter = define_member<ExportSettings>(settings, "Export", "How the user exports.");
  exporter.def_readwrite("mode", &ExportSettings::mode, "One of `Constants.Export.Mode`.");
  exporter.def_readwrite("directory", &ExportSettings::directory,
                         "Target folder; \"~\" stands for the user's home.");
  auto workspace = define_member<Workspace>(settings, "Workspace", "What the user works on.");
  workspace.def_readwrite("project", &Workspace::project, "File name of the current project.");
  workspace.def_readwrite("check_updates", &Workspace::check_updates,
                          "Whether newer versions are asked for.");
  auto server = define_member<ServerSettings>(
      settings, "Server", "The shared server; its address is published as KAVEL-SERVER.");
  server.def_readwrite("enabled", &ServerSettings::enabled, "Whether the server is used.");
  server.def_readwrite("erase_sent", &ServerSettings::erase_sent,
                       "Whether statistics are erased here once the server has them.");
  server.def_property("host", &ServerSettings::host, &ServerSettings::set_host,
                      "Name of the host; setting it publishes the address.");
  server.def_property(
      "port", &ServerSettings::port,
      [](ServerSettings& self, const py::int_& port) { self.set_port(port_number(port)); },
      "Port from 0 to 65535, else ValueError; setting it publishes the address.");
}

/// Texts only: anything else has no filter to go through.
void bind_name_filters(const py::object& settings) {
  static_method(
      settings, "approved_name",
      [](const py::object& name, const py::object& method) -> py::object {
        if (!is_text(name)) return name;
        const std::string filter = is_text(method) ? from_text(method) : "";
        return unified(hierarchy::naming::approved_name(from_text(name), filter));
      },
      py::arg("name"), py::arg("method"),
      "`name` after the filter of `Constants.Name.Filter` that `method` names; unchanged for any "
      "other method, and when it is no text.");
  static_method(
      settings, "is_approved",
      [](const py::object& name, const py::object& method) {
        if (!is_text(name)) return false;
        const std::string filter = is_text(method) ? from_text(method) : "";
        return hierarchy::naming::is_approved(from_text(name), filter);
      },
      py::arg("name"), py::arg("method"),
      "Whether the filter leaves the text `name` as it is; for EMPTY: whether it is not empty.");
}

void bind_file(py::class_<Settings>& settings) {
  define_init(
      settings,
      [](const py::object& env) {
        Settings::Source source{.file = path_text(env.attr("get_settings_file")()),
                                .target = from_text(env.attr("target")),
                                .scope = from_text(env.attr("scope"))};
        return new Settings(source);
      },
      py::arg("env"),
      "Reads the file that the environment names; without a usable one everything has its default. "
      "Errors: what the environment raises.");
  settings.def("_read", &Settings::read, "The file's content, an empty map if it is of no use.");
  settings.def("data", &Settings::data, "The content of the file, a fresh map.");
  settings.def("write", &Settings::write,
               "Writes the file; a failure is logged. What could not be read is kept in the folder "
               "\".corrupted\".");
  settings.attr("version") = Settings::kVersion;
}

}  // namespace

void bind_settings(py::module_& module) {
  auto settings = define<Settings>(module, "_Settings", "The user's application settings.");
  auto check = bind_check_config(settings);
  bind_check_directories(check);
  bind_check_presets(check);
  bind_state(check);
  bind_members(settings);
  bind_service_urls(settings);
  bind_name_filters(settings);
  bind_file(settings);
  const auto member = [&settings](const char* name, auto field, const char* doc) {
    settings.def_property_readonly(
        name, [field](const Settings& self) { return self.*field; }, doc);
  };
  member("check", &Settings::check, "Folders, mode, choices and presets of checks.");
  member("export", &Settings::exporter, "How the user exports.");
  member("workspace", &Settings::workspace, "What the user works on.");
  member("server", &Settings::server, "The shared server.");
  member("urls", &Settings::urls, "Addresses of the online services.");
}

}  // namespace kavel::host
