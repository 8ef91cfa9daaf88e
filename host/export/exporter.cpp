#include "core/export/exporter.h"

#include "core/export/target.h"
#include "host/adaptors/exporter_api.h"
#include "host/adaptors/format.h"
#include "host/bindings.h"
#include "host/foundation/path.h"

namespace kavel::host {
namespace {

using exporting::Exporter;
using exporting::ExporterPort;

/// A folder as a host may give it; empty for none.
std::string folder_text(const py::object& directory) {
  return directory.is_none() ? std::string() : path_text(directory);
}

void bind_runs(py::class_<Exporter>& exporter) {
  exporter.def("start", &Exporter::start,
               "Exports what `settings.check.mode` names into the folder that "
               "`settings.export.mode` names.\n\n"
               "Calls `lost_export_directory` when that is no existing folder. Called by the "
               "operator or a handler during an export, it does nothing.\n"
               "Errors: what the operator raises, but not while it writes a file.");
  exporter.def(
      "project",
      [](Exporter& self, const py::object& directory) { self.project(folder_text(directory)); },
      py::arg("directory"),
      "Writes a file for each ticked hierarchy into the folder `directory`, as `start`.");
  exporter.def(
      "selected",
      [](Exporter& self, const py::object& directory) { self.selected(folder_text(directory)); },
      py::arg("directory"),
      "Writes a file for each root of the selection into the folder `directory`, as `start`.");
}

void bind_steps(py::class_<Exporter>& exporter) {
  exporter.def("_get_directory", &Exporter::find_directory,
               "The folder that `settings.export.mode` names, none when there is none; may ask the "
               "user.");
  exporter.def(
      "_perform",
      [](Exporter& self, const py::object& planner, const py::object& directory) {
        self.perform([&] { planner(); }, folder_text(directory));
      },
      py::arg("planner"), py::arg("directory"),
      "Empties the queue, lets `planner()` fill it, and writes it.");
  exporter.def(
      "_resolve_queue",
      [](Exporter& self, const py::object& directory) {
        self.resolve_queue(folder_text(directory));
      },
      py::arg("directory"),
      "Writes the files of the queue, tells the host and adds a usage record.");
  exporter.def(
      "_create_path",
      [](const Exporter&, const py::object& directory, const std::string& filename,
         const std::string& type, bool version_control) {
        const exporting::Target target(path_text(directory), filename, type);
        return version_control ? target.path(target.free_version()) : target.path();
      },
      py::arg("directory"), py::arg("filename"), py::arg("type"), py::arg("version_control"),
      "The path of a file in `directory`: `filename` without what a file name cannot hold, the "
      "next free version if there is to be one, and `type` in lower case as its extension.\n"
      "Errors: OSError when a version is wanted and the folder cannot be listed.");
}

}  // namespace

void bind_exporter(py::module_& module) {
  const py::object api = module.attr("Api");
  auto exporter =
      define<Exporter>(api, "_Export", "Writes hierarchies to files through the operator.");
  define_init(
      exporter,
      [](const py::object& facade, const py::object& operator_object, const py::object& buffer,
         const py::object& options) {
        return new Exporter(exporter_api(facade, operator_object, buffer),
                            runtime::make<exporting::Options>(formats(options)));
      },
      py::arg("api"), py::arg("operator"), py::arg("buffer"), py::arg("options"),
      "Keeps the shared objects and the export formats; called by `Api`.");
  bind_runs(exporter);
  exporter.def_property_readonly(
      "options", [](const Exporter& self) { return self.options; }, "The formats.");
  exporter.def_property_readonly(
      "flags", [](const Exporter& self) { return self.flags; }, "The export switches.");
  for (const char* name : {"queue", "_queue"}) {
    exporter.def_property_readonly(
        name, [](const Exporter& self) { return self.queue; }, "The files of the last run.");
  }
  bind_steps(exporter);
  const auto shared = [&exporter](const char* name, Value (ExporterPort::*object)() const,
                                  const char* doc) {
    exporter.def_property_readonly(
        name, [object](const Exporter& self) { return (self.port().*object)(); }, doc);
  };
  shared("_api", &ExporterPort::object, "The facade.");
  shared("_op", &ExporterPort::operator_object, "The scene operator.");
  shared("_buffer", &ExporterPort::buffer, "The scene buffer.");
}

}  // namespace kavel::host
