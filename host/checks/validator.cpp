#include "core/checks/validator.h"

#include "host/adaptors/check_class.h"
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

}  // namespace

void bind_validator(py::module_& module) {
  const py::object api = module.attr("Api");
  auto validator = define<Validator>(api, "_Validator", "Plans and runs the checks of a scene.");
  bind_workspace_list(validator);
  define_init(
      validator,
      [](const py::object& facade, Value operator_object, const py::object& classes,
         Value hierarchy, Value buffer) {
        const py::object list = py::type::of<WorkspaceCheckList>()(facade, classes);
        return new Validator(
            {to_value(facade), std::move(operator_object), std::move(hierarchy), std::move(buffer)},
            list.cast<Ref<WorkspaceCheckList>>());
      },
      py::arg("api"), py::arg("operator"), py::arg("classes"), py::arg("hierarchy"),
      py::arg("buffer"), "Keeps the shared objects; called by `Api`.");
  validator.def("start", &Validator::start,
                "Runs one validation. Errors: not implemented in this version.");
  validator.def_property_readonly(
      "checklist", [](const Validator& self) { return self.checklist; },
      "The check list of the user's settings.");
  for (const char* name : {"queue", "_queue"}) {
    validator.def_property_readonly(
        name, [](const Validator& self) { return self.queue; },
        "The tasks of the last validation.");
  }
  const auto shared = [&validator](const char* name, Value Validator::Shared::*member,
                                   const char* doc) {
    validator.def_property_readonly(
        name, [member](const Validator& self) { return self.shared().*member; }, doc);
  };
  shared("_api", &Validator::Shared::api, "The facade.");
  shared("_op", &Validator::Shared::operator_object, "The scene operator.");
  shared("_hierarchy", &Validator::Shared::hierarchy, "The hierarchy matcher.");
  shared("_buffer", &Validator::Shared::buffer, "The scene buffer.");
}

}  // namespace kavel::host
