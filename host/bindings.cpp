#include "host/bindings.h"

#include "core/foundation/version.h"
#include "host/errors.h"
#include "host/no_collection.h"
#include "host/runtime/ending.h"
#include "host/runtime/runtime.h"
#include "host/sequence.h"

namespace kavel::host {

void bind_core(py::module_& module) {
  // Thousands of objects are made and all of them stay: looking for garbage only costs time.
  const NoCollection guard;
  install_runtime();
  module.doc() = "The core of Kavel: finds, checks and exports the hierarchies of 3D scenes.";
  module.attr("__version__") = to_text(foundation::kVersion);
  bind_list_iterator(module);
  bind_list<std::string>(module, "_TextList", "A live list of texts.");
  bind_list<Value>(module, "_ObjectList", "A live list of any objects.");
  bind_errors(module);
  bind_text(module);
  bind_constants(module);
  bind_logger(module);
  bind_callbacks(module);
  bind_masks(module);
  bind_environment(module);
  bind_files(module);
  bind_assertions(module);
  bind_named_buffer(module);
  bind_parameters(module);
  bind_operator(module);
  bind_software(module);
  bind_virtual(module);
  bind_naming(module);
  bind_names_control(module);
  bind_settings(module);
  bind_statistics(module);
  bind_export_flags(module);
  bind_projects(module);
  bind_matcher(module);
  bind_buffer(module);
  bind_scanner(module);
  bind_api(module);
  bind_scene_component(module.attr("Api"));
  bind_checks(module);
  bind_export_model(module);
  bind_validator(module);
  bind_exporter(module);
  bind_server(module);
  bind_update_tracker(module);
  // Keep it last: it counts the calls of what is bound by then.
  count_calls(module);
}

}  // namespace kavel::host
