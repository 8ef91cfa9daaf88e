// The matcher's questions about a scene, answered by whatever the host hands in.
#pragma once

#include <memory>

#include "core/scene/query.h"
#include "host/py.h"

namespace kavel::host {

/// Over the virtual scene its table itself; over any other object its operations `get_locations`,
/// `get_parent`, `get_type` and `name_from_path` (without the last, its operator's).
[[nodiscard]] std::unique_ptr<scene::QueryPort> query_port(py::handle object);

}  // namespace kavel::host
