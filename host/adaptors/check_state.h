// Configurations of checks and their entries: the core's own, or any objects with the same
// attributes.
#pragma once

#include <memory>

#include "core/checks/check_state.h"
#include "host/py.h"

namespace kavel::host {

/// Over a `_Settings.Check`, or any object with `enabled`, `opened` and `parameters`; null for
/// none.
[[nodiscard]] std::unique_ptr<checks::CheckState> check_state(const py::object& entry);
/// The object that a state was made over; none for null.
[[nodiscard]] py::object state_object(const checks::CheckState* state);

/// Over a `_Settings.Check.Config`, or any object with `get(class_id, force)`; null for none.
[[nodiscard]] std::unique_ptr<checks::CheckConfigPort> check_config(const py::object& config);
/// The object that a configuration was made over; none for null.
[[nodiscard]] py::object config_object(const checks::CheckConfigPort* config);

}  // namespace kavel::host
