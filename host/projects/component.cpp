#include "core/projects/component.h"

#include "host/adaptors/project_api.h"
#include "host/projects/projects.h"

namespace kavel::host {
namespace {

using projects::Component;
using projects::Document;
using projects::LoadPointer;

std::string filename_of(const py::object& settings) { return from_text(settings.attr("filename")); }

double edit_time_of(const py::object& settings) {
  return settings.attr("edit_timestamp").cast<double>();
}

void bind_load_pointer(py::handle project) {
  auto pointer =
      define<LoadPointer>(project, "_LoadPointer", "Which state of which project is loaded.");
  define_init(
      pointer, [] { return new LoadPointer(); }, "Nothing is loaded.");
  pointer.def_property_readonly("filename", &LoadPointer::filename,
                                "File of the loaded project, or none.");
  pointer.def_property_readonly(
      "timestamp",
      [](const LoadPointer& self) -> py::object {
        if (!self.timestamp()) return py::none();
        return py::float_(*self.timestamp());
      },
      "Time of its edit when it was loaded, or none.");
  pointer.def(
      "set",
      [](LoadPointer& self, const py::object& settings) {
        self.set(filename_of(settings), edit_time_of(settings));
      },
      py::arg("settings"), "Remembers file and time of edit.");
  pointer.def(
      "other",
      [](const LoadPointer& self, const py::object& settings) {
        return self.other(filename_of(settings));
      },
      py::arg("settings"), "Whether the file is another one.");
  pointer.def(
      "edited",
      [](const LoadPointer& self, const py::object& settings) {
        return self.edited(edit_time_of(settings));
      },
      py::arg("settings"), "Whether the time of edit is another one.");
  pointer.def(
      "same",
      [](const LoadPointer& self, const py::object& settings) {
        return !self.other(filename_of(settings)) && !self.edited(edit_time_of(settings));
      },
      py::arg("settings"), "Whether both are the same.");
}

void bind_parts(py::class_<Component>& component) {
  component.def_property_readonly(
      "collection", [](const Component& self) { return self.collection(); }, "All projects.");
  component.def_property_readonly(
      "_pointer", [](const Component& self) { return self.pointer(); }, "What is loaded.");
  component.def_property_readonly(
      "_api", [](const Component& self) { return self.api().value(); }, "The facade.");
  component.def_property_readonly(
      "_hierarchy", [](const Component& self) { return self.matcher().value(); },
      "The matcher whose pattern is set.");
}

void bind_queries(py::class_<Component>& component) {
  component.def("get_current", &Component::get_current,
                "The remembered project; when it is gone or of another version, the first that can "
                "be loaded, which is loaded; else the empty project.");
  component.def("get_clone", &Component::get_clone,
                "A copy of the current project with its selected record, without name and file.");
  component.def(
      "get_empty", [](const Component& self) { return self.collection()->get_empty(); },
      "A new project without a file.");
  component.def(
      "get_headers",
      [](const Component& self) -> py::object { return expose(self.collection()).attr("headers"); },
      "Summaries of the projects that are not deleted.");
  component.def("is_active", &Component::is_active,
                "Whether checks are configured by the project rather than by the user.");
  component.def(
      "is_exists",
      [](const Component& self, const std::optional<std::string>& filename) {
        return filename && self.exists(*filename);
      },
      py::arg("filename"), "Whether a project that is not deleted has that file name.");
}

void bind_changes(py::class_<Component>& component) {
  component.def("delete_current", &Component::delete_current,
                "Marks the current project deleted and loads the first that remains, else the "
                "empty project; nothing happens without a current project.");
  component.def(
      "load",
      [](Component& self, const std::optional<std::string>& filename) {
        self.load(filename.value_or(""));
      },
      py::arg("filename"),
      "Loads the project of that file, else the first that can be loaded, else the empty project.");
  component.def(
      "_load", [](Component& self, const Ref<Document>& settings) { self.load(*settings); },
      py::arg("settings").none(false),
      "Loads a document into the matcher and the export component, unless it is of another version "
      "or loaded already.");
}

}  // namespace

py::class_<Component> make_project_class(py::module_& module) {
  auto component = define<Component>(module, "_Project", "The projects of a host.");
  define_init(
      component,
      [](const Value& api, const Value& hierarchy) {
        return new Component(std::make_unique<ApiStandIn>(api),
                             std::make_unique<MatcherStandIn>(hierarchy));
      },
      py::arg("api"), py::arg("hierarchy"), "Loads the collection; no project is loaded yet.");
  return component;
}

void bind_component(py::class_<Component>& project) {
  bind_load_pointer(project);
  bind_parts(project);
  bind_queries(project);
  bind_changes(project);
}

}  // namespace kavel::host
