#include "core/checks/validator.h"

#include "core/checks/check_list.h"
#include "host/adaptors/check_class.h"
#include "host/adaptors/validator_api.h"
#include "host/bindings.h"

namespace kavel::host {
namespace {

using checks::CheckList;
using checks::Validator;
using checks::WorkspaceCheckList;

void bind_workspace_list(const py::object& scope) {
  auto list = define<WorkspaceCheckList, CheckList>(scope, "_CheckList",
                                                    "The check list over the user's own settings.");
  define_init(
      list,
      [](const py::object& api, const py::object& classes) {
        const py::object state = api.attr("settings").attr("check");
        return new WorkspaceCheckList(
            check_list_parts(classes, state.attr("presets"), state.attr("config")));
      },
      py::arg("api"), py::arg("classes"), "Bound to `api.settings.check`.");
  list.def_property_readonly(
      "workspace", [](const Ref<WorkspaceCheckList>& self) { return self; }, "The list itself.");
}

void bind_planning(py::class_<Validator>& validator) {
  validator.def(
      "_plan_checks",
      [](Validator& self, int mode) {
        const bool is_known = mode == static_cast<int>(facade::CheckMode::selection) ||
                              mode == static_cast<int>(facade::CheckMode::project);
        self.plan(is_known ? std::optional(static_cast<facade::CheckMode>(mode)) : std::nullopt);
      },
      py::arg("mode"),
      "Replaces the queue by what one of `Constants.Check.Mode` plans; by nothing for others.");
  validator.def("_plan_selection_checks", &Validator::plan_selection,
                "Adds a task for the scene and one for each selected object.");
  validator.def("_plan_project_checks", &Validator::plan_project,
                "Adds a task for the scene and one for each object of the ticked hierarchies whose "
                "rule has checks.");
}

void bind_fields(py::class_<Validator>& validator) {
  validator.def_property_readonly("checklist", &Validator::checklist,
                                  "The check list of the user's settings.");
  for (const char* name : {"queue", "_queue"}) {
    validator.def_property_readonly(
        name, [](const Validator& self) { return self.queue; },
        "The tasks of the last validation.");
  }
  validator.def_property_readonly(
      "_api", [](const Validator& self) { return self.port().object(); }, "The facade.");
  validator.def_property_readonly(
      "_op", [](const Validator& self) { return self.shared().operator_object; },
      "The scene operator.");
  validator.def_property_readonly(
      "_hierarchy", [](const Validator& self) { return self.shared().hierarchy; },
      "The hierarchy matcher.");
  validator.def_property_readonly(
      "_buffer", [](const Validator& self) { return self.shared().buffer; }, "The scene buffer.");
}

}  // namespace

void bind_validator(py::module_& module) {
  const py::object api = module.attr("Api");
  auto validator = define<Validator>(api, "_Validator", "Plans and runs the checks of a scene.");
  bind_workspace_list(validator);
  define_init(
      validator,
      [](const py::object& facade, const py::object& operator_object, const py::object& classes,
         const py::object& hierarchy, const Ref<scene::Buffer>& buffer) {
        const py::object list = py::type::of<WorkspaceCheckList>()(facade, classes);
        return new Validator(validator_api(facade, operator_object, classes),
                             {.operator_object = to_value(operator_object),
                              .hierarchy = to_value(hierarchy),
                              .pattern = to_value(hierarchy.attr("pattern")),
                              .buffer = buffer},
                             to_value(list));
      },
      py::arg("api"), py::arg("operator"), py::arg("classes"), py::arg("hierarchy"),
      py::arg("buffer"), "Keeps the shared objects; called by `Api`.");
  validator.def("start", &Validator::start,
                "Runs one validation in the mode of the settings, with the selection kept.\n\n"
                "An interrupt ends it, with what was found so far in the queue. Called by a check, "
                "it does nothing.\n"
                "Errors: what the operator raises; none of a check's own.");
  bind_planning(validator);
  bind_fields(validator);
}

}  // namespace kavel::host
