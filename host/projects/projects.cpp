#include "host/projects/projects.h"

#include "core/projects/component.h"
#include "host/bindings.h"

namespace kavel::host {

void bind_projects(py::module_& module) {
  auto project = make_project_class(module);
  auto settings = make_settings_class(project);
  bind_rule(settings);
  bind_rule_list(settings);
  bind_rule_tree(settings);
  bind_record(settings);
  bind_history(settings.attr("Record"));
  bind_document(settings);
  bind_header(project);
  bind_collection(project);
  bind_component(project);
  module.attr("_LoadPointer") = project.attr("_LoadPointer");
}

}  // namespace kavel::host
