// What the validation asks of the program, over any object with the components of `Api`.
#pragma once

#include <memory>

#include "core/checks/validator.h"
#include "host/py.h"

namespace kavel::host {

/// Held by one owner, which shows it to the collector.
[[nodiscard]] std::unique_ptr<checks::ValidatorPort> validator_api(py::handle api,
                                                                   py::handle operator_object,
                                                                   py::handle classes);

}  // namespace kavel::host
