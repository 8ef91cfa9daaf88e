#include "core/checks/block.h"
#include "host/bindings.h"
#include "host/checks/check_list.h"
#include "host/classes.h"

namespace kavel::host {
namespace {

void bind_base(const py::object& scope) {
  const py::object base =
      plain_class(scope, "Base", "The base of every check; a check derives from it indirectly.");
  for (const char* name : {"class_id", "short_name", "long_name", "description", "category"}) {
    base.attr(name) = "";
  }
  base.attr("sort_index") = 0;
  base.attr("scene_oriented") = false;
  base.attr("mask") = py::tuple();
  base.attr("result") = py::none();
  base.attr("could_be_fixed") = false;
  base.attr("could_be_selected") = false;
  static_method(
      base, "parameters", [] { return runtime::make<checks::Block>(); },
      "The description of the check's parameters, a new `Parameters.Block`; empty by default.");
  abstract_methods(base, {{"check",
                           "check(path, parameters): examines the object at the scene path; raises "
                           "`Error.ValidationError` when it finds an issue."}});
  method(
      base, "fix_result", [](const py::object&, const py::object&, const py::object&) {},
      py::arg("path"), py::arg("parameters"), "Repairs what the last `check` found.");
  method(
      base, "select_result", [](const py::object&) {}, "Selects what the last `check` found.");
  method(
      base, "result_message", [](const py::object&) { return std::string(); },
      "A text about the last result.");
}

}  // namespace

void bind_checks(py::module_& module) {
  const py::object scope = namespace_class(module, "Check", "Checks, their lists and their tasks.");
  bind_base(scope);
  bind_check_classes(scope);
  bind_check_list(scope);
  bind_queue(scope);
}

}  // namespace kavel::host
