// The scene as the matcher asks it, over any object with the query operations.
#pragma once

#include <memory>

#include "core/scene/query.h"
#include "host/py.h"

namespace kavel::host {

/// A port over `query`: the virtual scene answers natively, any other object through its
/// operations `get_locations`, `get_parent`, `get_type` and `name_from_path`.
[[nodiscard]] std::unique_ptr<scene::QueryPort> query_port(const py::object& query);

}  // namespace kavel::host
