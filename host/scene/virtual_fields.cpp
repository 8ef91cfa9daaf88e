#include "host/scene/virtual_fields.h"

namespace kavel::host {

using scene::Id;

bool VirtualField::holds(Id id) const {
  return fact_ == VirtualFact::exists ? table().asked(id) : table().stored(id);
}

py::object VirtualField::value(Id id) const {
  switch (fact_) {
    case VirtualFact::exists:
      return py::bool_(table().exists(id));
    case VirtualFact::name:
      return to_text(table().name(id));
    case VirtualFact::type:
      return to_text(table().type(id));
    case VirtualFact::parent:
      return py::cast(scene_->get_parent(table().path(id)));
    case VirtualFact::children:
      break;
  }
  py::list children;
  for (const std::string& path : scene_->get_children(table().path(id))) {
    children.append(to_text(path));
  }
  return children;
}

std::vector<std::string> VirtualField::paths() const {
  std::vector<std::string> paths;
  for (Id id = 0; id < table().size(); ++id) {
    if (holds(id)) paths.emplace_back(table().path(id));
  }
  return paths;
}

void bind_virtual_field(py::handle scope) {
  auto field = define<VirtualField>(scope, "_Field", "A read-only map from path to fact, live.");
  field.def(
      "__getitem__",
      [](const VirtualField& self, const py::object& path) {
        const Id id = is_text(path) ? self.find(from_text(path)) : scene::kNoId;
        if (!self.holds(id)) {
          PyErr_SetObject(PyExc_KeyError, path.ptr());
          throw py::error_already_set();
        }
        return self.value(id);
      },
      py::arg("path"), "The fact about the object with that path; KeyError when it is unknown.");
  field.def("__len__", [](const VirtualField& self) { return self.paths().size(); });
  field.def("__iter__", [](const VirtualField& self) -> py::object {
    py::list paths;
    for (const std::string& path : self.paths()) paths.append(to_text(path));
    return py::iter(paths);
  });
  field.def("__repr__", [](const py::object& self) { return py::repr(py::dict(self)); });
  const py::object mapping = py::module_::import("collections.abc").attr("Mapping");
  for (const char* name : {"get", "keys", "items", "values", "__contains__", "__eq__"}) {
    field.attr(name) = mapping.attr(name);
  }
  field.attr("__hash__") = py::none();
  mapping.attr("register")(field);
}

}  // namespace kavel::host
