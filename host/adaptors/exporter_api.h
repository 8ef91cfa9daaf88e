// What the export asks of the program, over any objects with the components of `Api` and the
// operations of the scene buffer.
#pragma once

#include <memory>

#include "core/export/exporter.h"
#include "host/py.h"

namespace kavel::host {

/// Held by one owner, which shows it to the collector.
[[nodiscard]] std::unique_ptr<exporting::ExporterPort> exporter_api(py::handle api,
                                                                    py::handle operator_object,
                                                                    py::handle buffer);

}  // namespace kavel::host
