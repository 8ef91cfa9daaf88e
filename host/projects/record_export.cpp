#include "core/projects/record_export.h"

#include "host/projects/projects.h"

namespace kavel::host {

void bind_record_export(py::handle record) {
  using foundation::Json;
  using projects::RecordExport;
  auto settings = define<RecordExport>(record, "Export", "The export settings of a record.");
  define_init(
      settings, [](const Json& data) { return new RecordExport(data); }, py::arg("data"),
      "From a dict with the keys of `data`, of which any may be missing.");
  text_property(settings, "directory", &RecordExport::directory,
                "Target folder; \"~\" stands for the user's home.");
  settings.def_property_readonly(
      "flags", [](const RecordExport& self) { return self.flags(); }, "The export's switches.");
  settings.def_property_readonly(
      "_options", [](const RecordExport& self) { return self.options(); },
      "The options of the export formats, a deep copy.");
  settings.def(
      "get_options", [](const RecordExport& self) { return self.options(); },
      "The options of the export formats, a deep copy; formats unknown here are among them.");
  settings.def(
      "set_options",
      [](RecordExport& self, const py::object& options) {
        self.set_options(to_json(py::getattr(options, "data", options)));
      },
      py::arg("options"), "Replaces the options by a dict, or by the `data` of an object.");
  settings.def_property_readonly("data", &RecordExport::data,
                                 "{\"directory\", \"options\", \"flags\"}, a deep copy.");
}

}  // namespace kavel::host
