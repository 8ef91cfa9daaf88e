#include "core/scene/software.h"
#include "host/bindings.h"
#include "host/classes.h"

namespace kavel::host {
namespace {

py::object type_mapping_of(const py::object& self) {
  const py::object mapping = py::module_::import("core").attr("TypeMapping");
  return mapping(self.attr("TYPE_MAPPING"));
}

void bind_query(const py::object& scene) {
  const py::object query =
      plain_class(scene, "_QueryOp", "An abstract class to get hierarchy info from the scene.");
  abstract_methods(
      query, {{"object_exists", "object_exists(path): whether an object has this path now."},
              {"get_type", "get_type(path): the unified type, of `Constants.Scene.Type`."},
              {"get_parent", "get_parent(path): the parent's path; none or empty at the top."},
              {"get_children", "get_children(path): the children's paths, in the host's order."}});
}

void bind_selection_operations(const py::object& op) {
  abstract_methods(
      op, {{"get_selection", "get_selection(): paths of the selected objects."},
           {"get_selection_roots", "get_selection_roots(): paths of the selection's roots."},
           {"select", "select(*paths): makes these objects the host's selection."},
           {"selection_manager",
            "selection_manager(): a context manager that the core places "
            "around work that changes the selection."}});
}

void bind_callback_operations(const py::object& op) {
  abstract_methods(
      op, {{"register_scene_opened_callback",
            "register_scene_opened_callback(function): calls `function` after each opening."},
           {"register_shutdown_callback",
            "register_shutdown_callback(function): calls `function` before the host closes."},
           {"delete_callbacks", "delete_callbacks(): removes every callback registered."}});
}

void bind_file_operations(const py::object& op) {
  abstract_methods(
      op,
      {{"export",
        "export(roots, file_path, type, args, automatic_uv=False, triangulate=False, "
        "reset_xforms=False): writes the roots with their descendants to `file_path`."},
       {"get_current_file", "get_current_file(): full path of the open scene, empty if unsaved."},
       {"directory_dialog",
        "directory_dialog(starting=\"~\", caption=\"\"): the folder that the "
        "user picks; none or empty when there is none."},
       {"file_dialog",
        "file_dialog(starting=\"~\", caption=\"\", file_filter=\"\"): the file "
        "that the user picks; none or empty when there is none."},
       {"query_filedata", "query_filedata(): what was embedded last, unchanged; none if nothing."},
       {"embed_filedata", "embed_filedata(data): stores a list of maps inside the open scene."},
       {"erase_filedata", "erase_filedata(): removes the stored data from the scene."}});
}

void bind_scan_operations(const py::object& op) {
  abstract_methods(op,
                   {{"postscript_scan_append",
                     "postscript_scan_append(joint): decorates a scanned item, a `DataJoint`."},
                    {"postscript_scan_remove",
                     "postscript_scan_remove(joint): undoes what the append did for this item."},
                    {"name_from_path", "name_from_path(path): the object's short name."}});
}

void bind_type_mapping(const py::object& op) {
  op.attr("TYPE_MAPPING") = py::dict();
  property(
      op, "type_mapping",
      [](const py::object& self) -> py::object {
        // A host may forget the base constructor.
        if (!py::hasattr(self, "_type_mapping")) self.attr("_type_mapping") = type_mapping_of(self);
        return self.attr("_type_mapping");
      },
      [](const py::object& self, const py::object& mapping) {
        self.attr("_type_mapping") = mapping;
      },
      "The `TypeMapping` made from `TYPE_MAPPING`.");
  method(
      op, "__init__",
      [](const py::object& self) { self.attr("_type_mapping") = type_mapping_of(self); },
      "Makes the type mapping from `TYPE_MAPPING` of the class or of the instance.");
  method(
      op, "map_type",
      [](const py::object& self, const py::object& name) {
        return self.attr("type_mapping").attr("get")(name);
      },
      py::arg("name"), "The unified type of a host type; none when the table lacks it.");
}

bool importable(std::string_view module) {
  try {
    py::module_::import(std::string(module).c_str());
    return true;
  } catch (py::error_already_set& error) {
    if (!error.matches(PyExc_ImportError)) throw;
    return false;
  }
}

}  // namespace

void bind_operator(py::module_& module) {
  const py::object scene = namespace_class(module, "Scene", "Access to the open scene.");
  bind_query(scene);
  const py::object op =
      plain_class(scene, "Operator", "An abstract class to communicate with the scene.",
                  py::make_tuple(scene.attr("_QueryOp")));
  bind_type_mapping(op);
  bind_selection_operations(op);
  bind_callback_operations(op);
  bind_file_operations(op);
  bind_scan_operations(op);
}

void bind_software(py::module_& module) {
  const py::object software =
      namespace_class(module, "_Software", "The host application that runs the interpreter.");
  static_method(
      software, "detect", [] { return std::string(scene::detect_software(importable)); },
      "\"Blender\", \"Maya\", \"3dsMax\" or \"Unknown\", by the modules that can be imported.\n"
      "Errors other than ImportError pass.");
}

}  // namespace kavel::host
