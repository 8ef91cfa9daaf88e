#include "core/facade/api.h"

#include <map>

#include "host/bindings.h"

namespace kavel::host {
namespace {

using facade::Api;
using facade::Part;

/// The class of each part below the module; looked up when it is made.
const char* class_of(Part part) {
  static const std::map<Part, const char*> kNames = {
      {Part::environment, "_LocalEnv"},
      {Part::settings, "_Settings"},
      {Part::statistics, "_Statistics"},
      {Part::classes, "Check._Classes"},
      {Part::virtual_scene, "Scene._Virtual"},
      {Part::hierarchy, "_Hierarchy"},
      {Part::buffer, "Scene._Buffer"},
      {Part::validator, "Api._Validator"},
      {Part::exporter, "Api._Export"},
      {Part::project, "Api._Project"},
      {Part::scene, "Api._Scene"},
      {Part::http, "Api._Http"},
  };
  return kNames.at(part);
}

py::object find(const char* dotted_name) {
  const auto attribute = py::module_::import("operator").attr("attrgetter");
  return attribute(dotted_name)(py::module_::import("core"));
}

class InterpreterAssembly final : public facade::Assembly {
 public:
  bool accepts_environment(const Value& environment) override {
    return py::bool_(find("_Assert.Environment.is_valid")(from_value(environment)));
  }

  Value embed_checks(const Value& settings, const Value& checks) override {
    const py::object directories = from_value(settings).attr("check").attr("directories");
    directories.attr("embed")(from_value(checks));
    return to_value(directories);
  }

  Value make(Part part, std::span<const Value> arguments) override {
    py::dict keywords;
    if (part == Part::exporter) {
      keywords["options"] = from_value(arguments.back());
      arguments = arguments.first(arguments.size() - 1);
    }
    py::tuple positional(arguments.size());
    for (std::size_t index = 0; index < arguments.size(); ++index) {
      positional[index] = from_value(arguments[index]);
    }
    return to_value(find(class_of(part))(*positional, **keywords));
  }

  void delete_callbacks(const Value& operator_object) override {
    from_value(operator_object).attr("delete_callbacks")();
  }
};

void bind_construction(py::class_<Api>& api) {
  api.def(
      "__init__",
      [](py::detail::value_and_holder& instance, Value operator_object, Value environment,
         Value export_options, Value checks) {
        auto* made = new Api();
        // The components are handed the finished face, so it stands before anything is built.
        adopt(instance, made);
        InterpreterAssembly assembly;
        made->build({std::move(operator_object), std::move(environment), std::move(export_options),
                     std::move(checks)},
                    assembly);
      },
      py::detail::is_new_style_constructor(), py::arg("operator"), py::arg("environment"),
      py::arg("export_options") = py::none(), py::arg("checks") = py::none(),
      "Builds and wires every component.\n\n"
      "operator: the host's `Scene.Operator`, kept as it is.\n"
      "environment: the host's `Environment`; anything that fails the environment assertion is "
      "replaced by a `_LocalEnv`.\n"
      "export_options: the exporters, a sequence of `Parameters.Options`, or none.\n"
      "checks: the root module of the check classes that ship with the host, or none.\n"
      "Errors: whatever a component raises while it is built.");
}

void bind_components(py::class_<Api>& api) {
  const auto component = [&api](const char* name, Value Api::*member, const char* doc) {
    api.def_property_readonly(
        name, [member](const Api& self) { return self.*member; }, doc);
  };
  component("_op", &Api::operator_object, "The host's operator.");
  api.def_property_readonly(
      "callbacks", [](const Api& self) { return self.callbacks; },
      "The notification lists; emptied by `shutdown`.");
  component("env", &Api::environment, "The environment in use.");
  component("settings", &Api::settings, "The application settings.");
  component("statistics", &Api::statistics, "The usage statistics.");
  component("validator", &Api::validator, "The validation component.");
  component("export", &Api::exporter, "The export component.");
  component("project", &Api::project, "The project component.");
  component("scene", &Api::scene, "The scene component.");
  component("http", &Api::http, "The server component.");
}

void bind_shared(py::class_<Api>& api) {
  api.def_property_readonly(
      "version", [](const Api&) { return find("__version__"); }, "The core's version, a text.");
  api.def_property_readonly(
      "constants", [](const Api&) { return find("Constants"); }, "The class `Constants` itself.");
  api.def_property_readonly(
      "masks",
      [](const Api& self) {
        return find("Mask")(from_value(self.operator_object).attr("type_mapping"));
      },
      "A new `Mask` on each read, from the operator's type mapping as it is now.");
  api.def_property_readonly(
      "logger", [](const Api&) { return find("Logger"); }, "The class `Logger` itself.");
  api.def(
      "shutdown",
      [](Api& self) {
        InterpreterAssembly assembly;
        self.shutdown(assembly);
      },
      "Makes the operator delete its callbacks, then empties every notification list.\n\n"
      "Errors: what the operator raises; the lists are left as they are then.");
}

}  // namespace

void bind_api(py::module_& module) {
  auto api = define<Api>(module, "Api", "A common class to have access to all program components.");
  // One class under both names: the component, and what a project's own classes stand below.
  api.attr("_Project") = module.attr("_Project");
  bind_construction(api);
  bind_components(api);
  bind_shared(api);
}

}  // namespace kavel::host
