#include "core/scene/component.h"

#include "host/adaptors/notifier.h"
#include "host/adaptors/operator.h"
#include "host/adaptors/scene_api.h"
#include "host/bindings.h"

namespace kavel::host {
namespace {

using scene::Component;

void bind_construction(py::class_<Component>& component) {
  component.def(
      "__init__",
      [](py::detail::value_and_holder& instance, const py::object& api, const py::object& op,
         const Ref<scene::Virtual>& scene, const Ref<hierarchy::Matcher>& hierarchy,
         const Ref<scene::Buffer>& buffer) {
        const py::object callbacks = api.attr("callbacks");
        auto scanner = runtime::make<scene::Scanner>(to_value(api), operator_port(op), scene,
                                                     hierarchy, buffer, notifier(callbacks));
        auto* made = new Component(scene_api(api), operator_port(op), buffer, std::move(scanner),
                                   notifier(callbacks));
        // The host is handed a method of the face, so the face stands before anything is loaded.
        adopt(instance, made);
        const py::object face = expose(made);
        made->load_states();
        made->link_buffer(to_value(face.attr("_load_buffer")));
      },
      py::detail::is_new_style_constructor(), py::arg("api"), py::arg("operator"),
      py::arg("virtual").none(false), py::arg("hierarchy").none(false),
      py::arg("buffer").none(false),
      "Loads the current project and the buffer, and registers for every later opening.\n"
      "Errors of the operator and of the project component propagate.");
}

void bind_steps(py::class_<Component>& component) {
  component.def("_load_states", &Component::load_states,
                "Loads the project that is recorded as current, if it still exists.");
  component.def(
      "_link_buffer",
      [](Component& self) { self.link_buffer(to_value(expose(&self).attr("_load_buffer"))); },
      "Loads the buffer now and registers for every later opening.");
  component.def(
      "_load_buffer",
      [](Component& self, const py::args&, const py::kwargs&) { self.load_buffer(); },
      "Loads the buffer from the open scene and fires `buffer_loaded`. Any arguments that a host\n"
      "passes are not used.");
}

void bind_fields(py::class_<Component>& component) {
  component.def_property_readonly(
      "_api", [](const Component& self) { return self.api().object(); }, "The `Api`.");
  component.def_property_readonly(
      "_op", [](const Component& self) { return self.port().object(); }, "The host's operator.");
  component.def_property_readonly(
      "hierarchy", [](const Component& self) { return self.scanner()->matcher(); },
      "The hierarchy matcher.");
  component.def_property_readonly("buffer", &Component::buffer, "The scene buffer.");
  component.def_property_readonly("scanner", &Component::scanner,
                                  "The scanner, through which scans are run.");
}

}  // namespace

void bind_scene_component(py::handle api) {
  auto component = define<Component>(api, "_Scene", "The component that faces the scene.");
  bind_construction(component);
  bind_steps(component);
  bind_fields(component);
  component.def(
      "directory_dialog",
      [](Component& self, const std::string& start) { return self.directory_dialog(start); },
      py::arg("start"),
      "Shows the host's folder dialog at `start`, a path in the \"~\" form. The folder that the\n"
      "user picks, in the same form; none when nothing is picked.");
}

}  // namespace kavel::host
