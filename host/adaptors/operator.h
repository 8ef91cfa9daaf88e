// The operator port over the object that a host hands in.
#pragma once

#include <memory>

#include "core/scene/operator.h"
#include "host/py.h"

namespace kavel::host {

/// Borrows any object that has the operations of `Scene.Operator`; each port is held by one owner,
/// which shows it to the collector.
[[nodiscard]] std::unique_ptr<scene::OperatorPort> operator_port(py::handle object);

}  // namespace kavel::host
