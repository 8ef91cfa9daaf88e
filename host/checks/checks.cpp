#include "core/checks/block.h"
#include "core/checks/check_list.h"
#include "core/checks/classes.h"
#include "core/foundation/errors.h"
#include "host/bindings.h"
#include "host/classes.h"

namespace kavel::host {
namespace {

using checks::CheckList;
using checks::Classes;

/// An argument that may be none, as the core's empty value.
Value optional(const py::object& object) { return object.is_none() ? Value() : to_value(object); }

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

void bind_classes(const py::object& scope) {
  auto classes =
      define<Classes>(scope, "_Classes", "The check classes of the enabled check directories.");
  define_init(
      classes, [](Value directories) { return new Classes(std::move(directories)); },
      py::arg("directories"), "Keeps the directories. This version loads no classes.");
  classes.def("reload", &Classes::reload,
              "Loads the classes anew. Errors: not implemented in this version.");
  classes.def("__iter__", [](const Classes& self) { return py::iter(expose(self.accepted)); });
  classes.def("get", &Classes::get, py::arg("class_id"),
              "The class with this identity, or none for an unknown one.");
  classes.def(
      "get_denied", [](const Classes& self) { return self.denied; },
      "The classes that failed the validity test, a live list.");
  classes.def_property_readonly(
      "_directories", [](const Classes& self) { return self.directories; },
      "The check directories, as given.");
  classes.def_property_readonly(
      "_array", [](const Classes& self) { return self.accepted; },
      "The accepted classes, a live list.");
  classes.def_property_readonly(
      "_denied", [](const Classes& self) { return self.denied; },
      "The denied classes, a live list.");
}

void bind_check_list(const py::object& scope) {
  auto list = define<CheckList>(scope, "_List", "The controls of a user, one for each check.");
  define_init(
      list,
      [](Value classes, const py::object& presets, const py::object& config) {
        return new CheckList(std::move(classes), optional(presets), optional(config));
      },
      py::arg("classes"), py::arg("presets") = py::none(), py::arg("config") = py::none(),
      "Builds the controls; with a configuration they are loaded from it.");
  list.def(
      "load", [](CheckList& self, const py::object& config) { self.load(optional(config)); },
      py::arg("config"), "Binds a `_Settings.Check.Config` and loads each control from it.");
  list.def("save", &CheckList::save, "Saves each control into the bound configuration.");
  list.def("clear", &CheckList::clear, "Resets each control.");
  list.def("is_empty", &CheckList::is_empty, "Whether there are no controls.");
  list.def("__iter__", [](const CheckList& self) { return py::iter(expose(self.controls)); });
  list.def(
      "iterator", [](const CheckList& self, bool) { return py::iter(expose(self.controls)); },
      py::arg("enabled") = false, "All controls, or only the enabled ones.");
  list.def(
      "get", [](const CheckList&, bool, bool) { return py::list(); }, py::arg("enabled") = true,
      py::arg("scene_oriented") = false, "The controls of this kind, in order, a new list.");
  list.def_property_readonly(
      "config", [](const CheckList& self) { return self.config(); },
      "The bound configuration, or none.");
  list.def_property_readonly(
      "categories", [](const CheckList& self) { return py::iter(expose(self.categories)); },
      "An iterator over the categories.");
}

}  // namespace

void bind_checks(py::module_& module) {
  const py::object scope = namespace_class(module, "Check", "Checks, their lists and their tasks.");
  bind_base(scope);
  bind_classes(scope);
  bind_check_list(scope);
  bind_queue(scope);
}

}  // namespace kavel::host
