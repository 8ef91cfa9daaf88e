// The notifier over any object that has the notification lists as attributes.
#pragma once

#include <memory>

#include "core/facade/notifier.h"
#include "host/py.h"

namespace kavel::host {

/// Held by one owner, which shows it to the collector.
[[nodiscard]] std::unique_ptr<facade::Notifier> notifier(py::handle callbacks);

}  // namespace kavel::host
