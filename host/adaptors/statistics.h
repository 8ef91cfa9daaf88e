// The store of usage records that a host hands in: the store itself, or any object with `add`.
#pragma once

#include "core/services/statistics.h"
#include "host/py.h"

namespace kavel::host {

/// The port over `store`: the store itself when its `add` is its own, else an adaptor that calls
/// `add(record)` with a `_Statistics.Type.Checks`.
[[nodiscard]] Ref<services::StatisticsPort> statistics_port(const py::object& store);
/// The object that the port was made over.
[[nodiscard]] py::object statistics_object(const Ref<services::StatisticsPort>& port);

/// The record when `object` is one of the core's own classes, not of a host's subclass; else null.
[[nodiscard]] const services::StatisticsRecord* plain_record(const py::object& object);

}  // namespace kavel::host
