#include "core/export/exporter.h"

#include "host/adaptors/format.h"
#include "host/bindings.h"

namespace kavel::host {

using exporting::Exporter;

void bind_exporter(py::module_& module) {
  const py::object api = module.attr("Api");
  auto exporter =
      define<Exporter>(api, "_Export", "Writes hierarchies to files through the operator.");
  define_init(
      exporter,
      [](Value facade, Value operator_object, Value buffer, const py::object& options) {
        const py::object flags = py::module_::import("core").attr("_Export").attr("Flags")();
        return new Exporter(
            {std::move(facade), std::move(operator_object), std::move(buffer), to_value(flags)},
            runtime::make<exporting::Options>(formats(options)));
      },
      py::arg("api"), py::arg("operator"), py::arg("buffer"), py::arg("options"),
      "Keeps the shared objects and the export formats; called by `Api`.");
  exporter.def("start", &Exporter::start,
               "Exports in the configured mode. Errors: not implemented in this version.");
  for (const char* name : {"project", "selected"}) {
    exporter.def(
        name, [](Exporter& self, const py::object&) { self.start(); }, py::arg("directory"),
        "Exports into the folder `directory`. Errors: not implemented in this version.");
  }
  exporter.def_property_readonly(
      "options", [](const Exporter& self) { return self.options; }, "The formats.");
  exporter.def_property_readonly(
      "flags", [](const Exporter& self) { return self.shared().flags; }, "The export switches.");
  for (const char* name : {"queue", "_queue"}) {
    exporter.def_property_readonly(
        name, [](const Exporter& self) { return self.queue; }, "The files of the last run.");
  }
  const auto shared = [&exporter](const char* name, Value Exporter::Shared::*member,
                                  const char* doc) {
    exporter.def_property_readonly(
        name, [member](const Exporter& self) { return self.shared().*member; }, doc);
  };
  shared("_api", &Exporter::Shared::api, "The facade.");
  shared("_op", &Exporter::Shared::operator_object, "The scene operator.");
  shared("_buffer", &Exporter::Shared::buffer, "The scene buffer.");
}

}  // namespace kavel::host
