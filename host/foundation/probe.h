// A foreign object as the validity tests ask it.
#pragma once

#include <memory>

#include "core/foundation/assertions.h"
#include "host/py.h"

namespace kavel::host {

[[nodiscard]] std::unique_ptr<foundation::Probe> object_probe(const py::object& object);

}  // namespace kavel::host
