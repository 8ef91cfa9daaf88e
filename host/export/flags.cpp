#include "core/export/flags.h"

#include "host/bindings.h"
#include "host/classes.h"

namespace kavel::host {

void bind_export_flags(py::module_& module) {
  using exporting::Flags;
  const py::object scope = namespace_class(module, "_Export", "What an export is made of.");
  auto flags = define<Flags>(scope, "Flags", "The switches of an export, all off at first.");
  define_init(flags, [] { return new Flags(); });
  for (const exporting::FlagField& row : exporting::kFlagFields) {
    flags.def_property(
        row.name, [&row](const Flags& self) { return self.*row.field; },
        [&row](Flags& self, bool value) { self.*row.field = value; }, row.doc);
  }
  flags.def_property_readonly("data", &Flags::data, "The four switches by name.");
  flags.def("load", &Flags::load, py::arg("data"),
            "Sets the switches from a dict; missing ones are turned off. AssertionError for values "
            "that are no Booleans; nothing changes then.");
}

}  // namespace kavel::host
