// What the scene component asks of the program, over any object with the components of `Api`.
#pragma once

#include <memory>

#include "core/scene/component.h"
#include "host/py.h"

namespace kavel::host {

/// Held by one owner, which shows it to the collector.
[[nodiscard]] std::unique_ptr<scene::ApiPort> scene_api(py::handle api);

}  // namespace kavel::host
