#include "host/checks/check_list.h"

#include "core/checks/check_list.h"
#include "host/adaptors/check_class.h"
#include "host/adaptors/check_state.h"

namespace kavel::host {
namespace {

using checks::CheckList;
using checks::Control;

py::list faces(const std::vector<Ref<Control>>& controls) {
  py::list list;
  for (const Ref<Control>& control : controls) list.append(expose(control));
  return list;
}

void bind_queries(py::class_<CheckList>& list) {
  list.def("is_empty", &CheckList::is_empty, "Whether there are no controls.");
  list.def("__iter__", [](const CheckList& self) { return py::iter(expose(self.controls)); });
  list.def(
      "iterator",
      [](const CheckList& self, bool enabled) { return py::iter(faces(self.select(enabled))); },
      py::arg("enabled") = false, "Over all controls, or only the enabled ones.");
  list.def(
      "get",
      [](const CheckList& self, bool enabled, bool scene_oriented) {
        return faces(self.select(enabled, scene_oriented));
      },
      py::arg("enabled") = true, py::arg("scene_oriented") = false,
      "The controls of checks that inspect the scene as a whole, or objects; a new list.");
}

void bind_parts(py::class_<CheckList>& list) {
  for (const char* name : {"config", "_config"}) {
    list.def_property_readonly(
        name, [](const CheckList& self) { return config_object(self.config()); },
        "The bound configuration, or none.");
  }
  for (const char* name : {"preset", "_preset_editor"}) {
    list.def_property_readonly(
        name, [](const CheckList& self) { return self.preset_editor(); },
        "The editor of the presets, or none.");
  }
  list.def_property_readonly(
      "categories", [](const CheckList& self) { return py::iter(expose(self.categories)); },
      "An iterator over the categories, in order of their first check.");
  list.def_property_readonly(
      "_categories", [](const CheckList& self) { return self.categories; },
      "The categories, a live list.");
  list.def_property_readonly(
      "_controls", [](const CheckList& self) { return self.controls; },
      "The controls, a live list.");
}

}  // namespace

void bind_check_list(py::handle scope) {
  auto list = define<CheckList>(scope, "_List", "The controls of a user, one for each check.");
  bind_control(list);
  bind_category(list);
  define_init(
      list,
      [](const py::object& classes, const py::object& presets, const py::object& config) {
        return new CheckList(check_list_parts(classes, presets, config));
      },
      py::arg("classes"), py::arg("presets") = py::none(), py::arg("config") = py::none(),
      "classes: the registry, any iterable of check classes, or none; a class whose parameters "
      "cannot be made is logged and left out.\n"
      "presets: a `_Settings.Check.Presets` that the list's editor works on.\n"
      "config: a `_Settings.Check.Config` that the controls are loaded from.");
  list.def(
      "load", [](CheckList& self, const py::object& config) { self.load(check_config(config)); },
      py::arg("config"),
      "Binds a `_Settings.Check.Config` and loads each control from it; it is not changed. After "
      "a reload of the classes the controls are made anew.");
  list.def("save", &CheckList::save, "Saves each control into the bound configuration.");
  list.def("clear", &CheckList::clear, "Resets each control.");
  bind_queries(list);
  bind_parts(list);
}

}  // namespace kavel::host
