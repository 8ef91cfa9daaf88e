#include "core/hierarchy/names_control.h"

#include "host/bindings.h"
#include "host/foundation/text.h"

namespace kavel::host {

using hierarchy::NamesControl;

void bind_names_control(py::module_& module) {
  auto control = define<NamesControl>(module, "_NamesControl", "The registry of names in use.");
  define_init(control, [] { return new NamesControl(); });
  control.def("exists", &NamesControl::exists, py::arg("name"), "Whether `name` is registered.");
  control.def("append", &NamesControl::append, py::arg("name"), "Registers `name`.");
  control.def("remove", &NamesControl::remove, py::arg("name"),
              "Forgets `name`; an unknown one is ignored.");
  control.def("rename", &NamesControl::rename, py::arg("remove"), py::arg("append"),
              "Forgets one name and registers another.");
  control.def("clear", &NamesControl::clear, "Forgets every name.");
  control.def(
      "get_init",
      [](const NamesControl& self, const std::string& name) {
        return unified(self.get_init(name));
      },
      py::arg("name"), "`name` while it is free, else a numbered variant that is; registers none.");
  control.def(
      "_get_next",
      [](const NamesControl& self, const std::string& name) {
        return unified(self.get_next(name));
      },
      py::arg("name"), "The next free numbered variant of `name`.");
  control.def(
      "_get_alike",
      [](const NamesControl& self, const std::string& name) {
        py::list alike;
        for (const std::string& other : self.get_alike(name)) alike.append(unified(other));
        return alike;
      },
      py::arg("name"), "The registered names that contain `name` or occur in it, sorted.");
  control.def_property_readonly(
      "_names",
      [](const NamesControl& self) {
        py::set names;
        for (const std::string& name : self.names()) names.add(unified(name));
        return names;
      },
      "A copy of the set of registered names.");
}

}  // namespace kavel::host
