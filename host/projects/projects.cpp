#include "host/projects/projects.h"

#include "host/bindings.h"
#include "host/classes.h"

namespace kavel::host {

void bind_projects(py::module_& module) {
  const py::object project = namespace_class(module, "_Project", "The projects of a host.");
  const py::object settings = namespace_class(project, "Settings", "One project as a document.");
  bind_rule(settings);
  bind_rule_list(settings);
  bind_rule_tree(settings);
  bind_record(settings);
  bind_history(settings.attr("Record"));
}

}  // namespace kavel::host
