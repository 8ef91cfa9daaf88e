#include "core/services/check_presets.h"

#include "host/adaptors/check_list.h"
#include "host/foundation/text.h"
#include "host/services/services.h"

namespace kavel::host {
namespace {

using foundation::Json;
using services::CheckConfig;
using services::CheckPreset;
using services::CheckPresets;
using services::PresetEditor;

void bind_preset_fields(py::class_<CheckPreset>& preset) {
  preset.def_property(
      "name", [](const CheckPreset& self) { return unified(self.name()); }, &CheckPreset::set_name,
      "The preset's name; setting it notes the time and sorts the presets.");
  preset.def_property(
      "config", [](const CheckPreset& self) { return self.config(); },
      [](CheckPreset& self, Ref<CheckConfig> config) {
        if (!config) throw py::type_error("a configuration is expected");
        self.set_config(std::move(config));
      },
      "The choices for checks; setting it notes the time and sorts the presets.");
  preset.def_property_readonly("stamp", &CheckPreset::stamp, "32 hexadecimal digits.");
  preset.def_readwrite("changed", &CheckPreset::changed,
                       "Time of the last change, seconds since the epoch.");
  preset.def_readwrite("applied", &CheckPreset::applied,
                       "Whether it equalled the configuration in use when that was last asked.");
  preset.def_property_readonly("data", &CheckPreset::data,
                               "{\"stamp\", \"changed\", \"name\", \"list\"}, a fresh map.");
}

void bind_preset(py::handle presets) {
  auto preset = define<CheckPreset>(presets, "Set", "One preset; equal to another by stamp.");
  define_init(
      preset, [](const Json& data) { return new CheckPreset(data); }, py::arg("data") = py::dict(),
      "From a map as `data` gives it; what is missing is that of a new preset.");
  preset.def("load", &CheckPreset::load, py::arg("data"),
             "Reads \"name\", \"list\", \"stamp\" and \"changed\".");
  bind_preset_fields(preset);
  preset.def(
      "__eq__",
      [](const CheckPreset& self, const py::object& other) -> py::object {
        if (!py::isinstance<CheckPreset>(other)) {
          return py::reinterpret_borrow<py::object>(Py_NotImplemented);
        }
        return py::bool_(self.stamp() == other.cast<const CheckPreset&>().stamp());
      },
      py::arg("other"), "Whether the stamps are equal.");
  preset.def("__hash__", [](const CheckPreset& self) { return py::hash(to_text(self.stamp())); });
}

void bind_editor(py::handle presets) {
  auto editor = define<PresetEditor>(
      presets, "Editor",
      "Carries configurations between a check list and the presets. Until the list holds a "
      "configuration, `create`, `upload`, `apply` and `sync_applied` do nothing.");
  define_init(
      editor,
      [](Value checklist, Ref<CheckPresets> edited) {
        if (!edited) throw py::type_error("presets are expected");
        return new PresetEditor(std::make_unique<HostCheckList>(std::move(checklist)),
                                std::move(edited));
      },
      py::arg("checklist"), py::arg("presets"));
  editor.def_property_readonly(
      "names", [](const PresetEditor& self) { return unified_list(self.names()); },
      "The presets' names, sorted.");
  editor.def_property_readonly("_config_loaded", &PresetEditor::is_config_loaded,
                               "Whether the check list holds a configuration.");
  editor.def("create", &PresetEditor::create, py::arg("name"),
             "Adds a preset with a copy of the check list's configuration.");
  editor.def("upload", &PresetEditor::upload, py::arg("preset"),
             "Replaces the preset's configuration by a copy of the check list's.");
  editor.def("apply", &PresetEditor::apply, py::arg("preset"),
             "Takes the preset over into the check list's configuration and reloads the list.");
  editor.def("erase", &PresetEditor::erase, py::arg("preset"), "Removes the preset.");
  editor.def("sync_applied", &PresetEditor::sync_applied,
             "Marks the presets that equal the check list's configuration.");
}

}  // namespace

void bind_check_presets(py::handle check) {
  auto presets = define<CheckPresets>(check, "Presets", "The presets of checks, sorted by name.");
  bind_preset(presets);
  define_init(
      presets, [](const Json& data) { return new CheckPresets(data); },
      py::arg("data") = py::list(), "From an array as `data` gives it.");
  presets.def("load", &CheckPresets::load, py::arg("data"),
              "Replaces the presets by those of an array as `data` gives it.");
  presets.def_property_readonly("data", &CheckPresets::data, "A fresh array of the presets' data.");
  presets.def_property_readonly(
      "names", [](const CheckPresets& self) { return unified_list(self.names()); },
      "The names, sorted.");
  presets.def(
      "__iter__",
      [](const CheckPresets& self) {
        py::list list;
        for (const auto& preset : self.entries()) list.append(expose(preset));
        return py::iter(list);
      },
      "Over a copy, as changing a preset sorts them.");
  presets.def("__len__", &CheckPresets::size);
  presets.def(
      "add",
      [](CheckPresets& self, const std::string& name, const Ref<CheckConfig>& config) {
        if (!config) throw py::type_error("a configuration is expected");
        return self.add(name, config);
      },
      py::arg("name"), py::arg("config"), "Adds a preset and returns it; names may repeat.");
  presets.def("pop", &CheckPresets::pop, py::arg("preset"),
              "Removes the preset of the same stamp and returns it, or none.");
  presets.def("sort", &CheckPresets::sort, "Sorts by name.");
  presets.def("sync_applied", &CheckPresets::sync_applied, py::arg("config"),
              "Marks every preset whose configuration equals `config` as applied, and no other.");
  bind_editor(presets);
}

}  // namespace kavel::host
