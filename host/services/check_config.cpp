#include "core/services/check_config.h"

#include "host/foundation/text.h"
#include "host/services/services.h"

namespace kavel::host {
namespace {

using foundation::Json;
using services::CheckConfig;
using services::CheckEntry;

void bind_entry(py::class_<CheckEntry>& entry) {
  define_init(
      entry,
      [](std::string class_id, bool enabled, bool opened, Json parameters) {
        Json data = Json::Map{{"enabled", enabled}, {"opened", opened}};
        data.set("parameters", std::move(parameters));
        return new CheckEntry(std::move(class_id), data);
      },
      py::arg("class_id"), py::arg("enabled") = false, py::arg("opened") = false,
      py::arg("parameters") = py::none());
  entry.def_static(
      "empty", [](std::string class_id) { return runtime::make<CheckEntry>(std::move(class_id)); },
      py::arg("class_id"), "An entry that is not enabled, not opened and without parameters.");
  entry.def_readonly("class_id", &CheckEntry::class_id, "The check class's identifier.");
  entry.def_readwrite("enabled", &CheckEntry::enabled, "Whether the check runs.");
  entry.def_readwrite("opened", &CheckEntry::opened,
                      "Whether the check's panel is expanded in the user interface.");
  entry.def_property(
      "parameters", [](const CheckEntry& self) { return self.parameters; },
      [](CheckEntry& self, Json parameters) {
        if (parameters.array() == nullptr) throw py::type_error("parameters are a list");
        self.parameters = std::move(parameters);
      },
      "The stored parameter sets, a fresh list at each read.");
  entry.def_property_readonly("data", &CheckEntry::data,
                              "{\"enabled\", \"opened\", \"parameters\"}, a deep copy.");
}

void bind_config(py::class_<CheckConfig>& config) {
  define_init(
      config, [](const Json& data) { return new CheckConfig(data); }, py::arg("data") = py::dict());
  config.def("load", &CheckConfig::load, py::arg("data"),
             "Replaces every entry by those of a map from class id to entry data.");
  config.def_property_readonly("data", &CheckConfig::data,
                               "A fresh map from class id to entry data.");
  config.def("get", &CheckConfig::get, py::arg("class_id"), py::arg("force") = false,
             "The entry of a class, or none; with `force` a missing one is made and stored.");
  config.def(
      "mask", [](const CheckConfig& self) { return unified_list(self.mask()); },
      "The class ids, in order.");
  config.def("clone", &CheckConfig::clone, "A deep copy.");
  config.def("apply", &CheckConfig::apply, py::arg("config"),
             "Takes over the content of another configuration.");
  config.def("is_empty", &CheckConfig::is_empty, "Whether there is no entry.");
  config.def(
      "__eq__",
      [](const CheckConfig& self, const py::object& other) -> py::object {
        if (!py::isinstance<CheckConfig>(other)) {
          return py::reinterpret_borrow<py::object>(Py_NotImplemented);
        }
        return py::bool_(self == other.cast<const CheckConfig&>());
      },
      py::arg("other"), "Equality of content.");
  config.attr("__hash__") = py::none();
}

}  // namespace

py::list unified_list(const std::vector<std::string>& texts) {
  py::list list;
  for (const std::string& text : texts) list.append(unified(text));
  return list;
}

py::class_<CheckEntry> bind_check_config(py::handle settings) {
  auto entry = define<CheckEntry>(settings, "Check", "The user's choice for one check class.");
  bind_entry(entry);
  auto config =
      define<CheckConfig>(entry, "Config", "The choices for check classes, in order of mention.");
  bind_config(config);
  return entry;
}

}  // namespace kavel::host
