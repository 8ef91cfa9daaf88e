// The binding functions, one for each file of a subsystem, in the order in which the module calls
// them: a class is bound before the functions that take or return it.
#pragma once

#include "host/py.h"

namespace kavel::host {

/// Fills the module; also used by the tests that embed the interpreter.
void bind_core(py::module_& module);

void bind_constants(py::module_& module);
void bind_callbacks(py::module_& module);
void bind_text(py::module_& module);
void bind_masks(py::module_& module);
void bind_logger(py::module_& module);
void bind_environment(py::module_& module);
void bind_files(py::module_& module);
void bind_assertions(py::module_& module);
void bind_named_buffer(py::module_& module);
void bind_parameters(py::module_& module);
void bind_operator(py::module_& module);
void bind_software(py::module_& module);
void bind_virtual(py::module_& module);
void bind_naming(py::module_& module);
void bind_names_control(py::module_& module);
void bind_settings(py::module_& module);
void bind_statistics(py::module_& module);
/// Makes `_Export` with the switches that records keep.
void bind_export_flags(py::module_& module);
/// Makes `_Project` with all below it.
void bind_projects(py::module_& module);
void bind_matcher(py::module_& module);
void bind_buffer(py::module_& module);
void bind_scanner(py::module_& module);
/// Makes `Api`, in whose scope the components are bound.
void bind_api(py::module_& module);
/// Defines the scene component in the class `Api`.
void bind_scene_component(py::handle api);
void bind_checks(py::module_& module);
void bind_queue(py::handle scope);
void bind_export_model(py::module_& module);
void bind_validator(py::module_& module);
void bind_exporter(py::module_& module);
void bind_server(py::module_& module);
void bind_update_tracker(py::module_& module);

}  // namespace kavel::host
