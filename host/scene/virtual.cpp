#include "core/scene/virtual.h"

#include "host/adaptors/operator.h"
#include "host/bindings.h"
#include "host/classes.h"
#include "host/scene/virtual_fields.h"

namespace kavel::host {
namespace {

using scene::Location;
using scene::Virtual;

/// A path that is no text is unknown, as it would be in any map from texts.
std::string path_text(const py::object& path) { return is_text(path) ? from_text(path) : ""; }

void bind_location(py::handle scope) {
  auto location = define<Location>(scope, "_Location", "One object as the matcher sees it.");
  define_init(
      location,
      [](const std::string& name, const std::string& path, const std::string& type,
         const py::object& children) { return new Location(name, path, type, texts(children)); },
      py::arg("name"), py::arg("path"), py::arg("type"), py::arg("children") = py::tuple());
  location.def_readonly("name", &Location::name, "The short name.");
  location.def_readonly("path", &Location::path, "The path.");
  location.def_readonly("type", &Location::type, "The unified type.");
  location.def_readonly("children", &Location::children, "The children's paths, a live list.");
  location.def("__eq__", [](const Location& self, const py::object& other) {
    return py::isinstance<Location>(other) && self.path == other.cast<Location&>().path;
  });
  location.def("__hash__", [](const Location& self) { return py::hash(to_text(self.path)); });
}

void bind_changes(py::class_<Virtual>& scene) {
  define_init(
      scene, [](const py::object& op) { return new Virtual(operator_port(op)); },
      py::arg("operator"));
  scene.def(
      "upload",
      [](Virtual& self, const std::vector<std::string>& roots, bool clear) {
        self.upload(roots, clear);
      },
      py::arg("roots"), py::arg("clear") = true,
      "Stores the subtrees under `roots` (paths), in place of what was stored unless `clear` is\n"
      "false. Errors of the operator propagate.");
  scene.def("offload", &Virtual::offload, "Forgets everything.");
}

void bind_queries(py::class_<Virtual>& scene) {
  scene.def(
      "object_exists",
      [](const Virtual& self, const py::object& path) -> py::object {
        const auto exists = self.object_exists(path_text(path));
        return exists ? py::object(py::bool_(*exists)) : py::none();
      },
      py::arg("path"), "Whether the object existed when it was uploaded; none if it was not.");
  scene.def(
      "get_type",
      [](const Virtual& self, const py::object& path) { return self.get_type(path_text(path)); },
      py::arg("path"), "The unified type; an empty text for an unknown path.");
  scene.def(
      "get_parent",
      [](const Virtual& self, const py::object& path) { return self.get_parent(path_text(path)); },
      py::arg("path"), "The parent's path; none at the top and for an unknown path.");
  scene.def(
      "get_children",
      [](const Virtual& self, const py::object& path) {
        py::list children;
        for (const auto& child : self.get_children(path_text(path))) children.append(child);
        return children;
      },
      py::arg("path"), "The children's paths in the host's order; empty for an unknown path.");
  scene.def(
      "get_locations",
      [](const Virtual& self, const std::vector<std::string>& roots) {
        py::list locations;
        for (const auto& location : self.get_locations(roots)) {
          locations.append(expose(location));
        }
        return locations;
      },
      py::arg("roots"), "A `_Location` for each of `roots` that exists, in their order.");
}

void bind_fields(py::class_<Virtual>& scene) {
  const std::pair<const char*, VirtualFact> fields[] = {{"_exists", VirtualFact::exists},
                                                        {"_name", VirtualFact::name},
                                                        {"_type", VirtualFact::type},
                                                        {"_parent", VirtualFact::parent},
                                                        {"_children", VirtualFact::children}};
  for (const auto& [name, fact] : fields) {
    scene.def_property_readonly(
        name,
        [fact = fact](Virtual& self) {
          return runtime::make<VirtualField>(Ref<Virtual>(&self), fact);
        },
        "A read-only map from path, live over the stored table.");
  }
  scene.def_property_readonly(
      "_bytes", [](const Virtual& self) { return self.table().bytes(); },
      "Bytes that the snapshot takes, texts included.");
  scene.def_property_readonly(
      "_operator", [](const Virtual& self) { return self.port().object(); },
      "The host's operator.");
}

}  // namespace

void bind_virtual(py::module_& module) {
  const py::object scene = module.attr("Scene");
  auto bound = define<Virtual>(scene, "_VirtualBase", "The table of a virtual scene.");
  bind_changes(bound);
  bind_queries(bound);
  bind_fields(bound);
  const py::object made =
      plain_class(scene, "_Virtual", "A thread safe implementation of the scene query.",
                  py::make_tuple(bound, scene.attr("_QueryOp")));
  bind_location(made);
  bind_virtual_field(made);
}

}  // namespace kavel::host
