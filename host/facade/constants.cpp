#include "core/facade/constants.h"

#include "host/bindings.h"
#include "host/classes.h"

namespace kavel::host {
namespace {

py::object value_of(const facade::ConstantGroup& group, const facade::Constant& constant) {
  if (group.boolean) return py::bool_(constant.number != 0);
  if (constant.text.empty()) return py::int_(constant.number);
  return to_text(constant.text);
}

py::object scope_of(const py::object& constants, const std::string& name) {
  if (py::hasattr(constants, name.c_str())) return constants.attr(name.c_str());
  return namespace_class(constants, name, "Constants of the subsystem \"" + name + "\".");
}

}  // namespace

void bind_constants(py::module_& module) {
  const py::object constants = namespace_class(
      module, "Constants", "The constant groups: plain texts, small integers and Booleans.");
  for (const facade::ConstantGroup& group : facade::kConstantGroups) {
    const py::object scope = scope_of(constants, std::string(group.scope));
    const py::object made = namespace_class(scope, std::string(group.name), std::string(group.doc));
    for (const facade::Constant& constant : group.members) {
      made.attr(std::string(constant.name).c_str()) = value_of(group, constant);
    }
  }
}

}  // namespace kavel::host
