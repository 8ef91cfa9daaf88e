// The check port over the interpreter's check classes, their instances and controls.
#pragma once

#include <memory>

#include "core/checks/check_port.h"
#include "host/py.h"

namespace kavel::host {

[[nodiscard]] std::unique_ptr<checks::CheckPort> check_port();

}  // namespace kavel::host
