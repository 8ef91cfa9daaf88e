#include "core/foundation/environment.h"

#include "core/runtime/services.h"
#include "host/bindings.h"
#include "host/classes.h"
#include "host/foundation/path.h"

namespace kavel::host {
namespace {

py::object core() { return py::module_::import("core"); }
py::object environment_class() { return core().attr("Environment"); }

/// Read at call time, so that a host may give it a value once: a text or a path object.
std::optional<std::string> home_of(const py::object& owner) {
  const py::object home = owner.attr("user_home");
  if (home.is_none()) return std::nullopt;
  if (!is_text(home) && !py::hasattr(home, "__fspath__")) {
    throw py::type_error("Environment.user_home is an object of class " +
                         from_text(py::type::of(home).attr("__name__")) + ", not a text or a path");
  }
  return path_text(home);
}
std::optional<std::string> user_home() { return home_of(environment_class()); }

void bind_base_operations(const py::object& environment) {
  method(
      environment, "__init__",
      [](const py::object& self) {
        foundation::publish_settings(from_text(self.attr("get_settings_directory")()));
        foundation::publish_target(from_text(self.attr("target")));
        foundation::publish_scope(from_text(self.attr("scope")));
      },
      "Publishes the settings directory, target and scope as the process variables "
      "KAVEL-SETTINGS, KAVEL-TARGET and KAVEL-SCOPE; call it when the fields are ready.");
  property(
      environment, "root",
      [](const py::object& self) {
        return foundation::ensure_folder(home_of(self), from_text(self.attr("name")));
      },
      "Path of the folder `name` in the user's home, made when it is missing.\n"
      "TypeError without a home, OSError when it cannot be made.");
  static_method(
      environment, "encode_user",
      [](const py::object& path) { return foundation::encode_user(path_text(path), user_home()); },
      py::arg("path"),
      "`path` normalised, with forward slashes and \"~\" for the user's home.\n"
      "TypeError while `Environment.user_home` is none or empty.");
  static_method(
      environment, "decode_user",
      [](const py::object& path) { return foundation::decode_user(path_text(path), user_home()); },
      py::arg("path"),
      "`path` normalised, with forward slashes and the user's home for every \"~\".\n"
      "TypeError while `Environment.user_home` is none or empty.");
}

void bind_base(py::module_& module) {
  const py::object environment =
      plain_class(module, "Environment",
                  "An abstract description of the files, folders and identity of one host.");
  environment.attr("user_home") = py::cast(runtime::services().system->variable("USERPROFILE"));
  environment.attr("name") = foundation::kServiceFolder;
  abstract_properties(environment,
                      {{"target", "Name of the host application, of `Constants.Plugin.Target`."},
                       {"scope", "Name of the scope of the settings."}});
  abstract_methods(environment,
                   {{"get_settings_file", "Full path of the application settings file."},
                    {"get_settings_directory", "Full path of the folder that holds settings."},
                    {"get_projects_directory", "Full path of the folder that holds projects."},
                    {"get_statistics_file", "Full path of the statistics file."}});
  bind_base_operations(environment);
}

std::string settings_path(const py::object& self, const char* name) {
  return runtime::services().files->join(from_text(self.attr("_settings")), name);
}

void bind_local_files(const py::object& local) {
  property(
      local, "target",
      [](const py::object&) -> py::object {
        return core().attr("Constants").attr("Plugin").attr("Target").attr("Standalone");
      },
      "\"standalone\".");
  property(
      local, "scope", [](const py::object&) { return foundation::system_scope(); },
      "Name and release of the operating system.");
  method(
      local, "get_settings_file",
      [](const py::object& self) { return settings_path(self, "settings.json"); },
      "Path of \"settings.json\" in the settings folder.");
  method(
      local, "get_settings_directory",
      [](const py::object& self) -> py::object { return self.attr("_settings"); },
      "The settings folder.");
  method(
      local, "get_projects_directory",
      [](const py::object& self) -> py::object { return self.attr("_projects"); },
      "The projects folder.");
  method(
      local, "get_statistics_file",
      [](const py::object& self) { return settings_path(self, "statistics.json"); },
      "Path of \"statistics.json\" in the settings folder.");
}

void bind_local(py::module_& module) {
  const py::object local = plain_class(
      module, "_LocalEnv", "The default environment: everything in a folder beside the module.",
      py::make_tuple(environment_class()));
  property(
      local, "root",
      [](const py::object& self) {
        const auto [folder, file] =
            runtime::services().files->split(from_text(core().attr("__file__")));
        return foundation::ensure_folder(folder.empty() ? "." : folder,
                                         from_text(self.attr("name")));
      },
      "Path of the folder `name` beside the module, made when it is missing.\n"
      "OSError when it cannot be made.");
  bind_local_files(local);
  method(
      local, "__init__",
      [](const py::object& self) {
        const auto folders = foundation::make_local_folders(from_text(self.attr("root")),
                                                            from_text(self.attr("target")));
        self.attr("_settings") = folders.settings;
        self.attr("_projects") = folders.projects;
        environment_class().attr("__init__")(self);
      },
      "Makes the folders that are missing and publishes the variables.\n"
      "OSError when a folder cannot be made.");
}

}  // namespace

void bind_environment(py::module_& module) {
  bind_base(module);
  bind_local(module);
}

}  // namespace kavel::host
