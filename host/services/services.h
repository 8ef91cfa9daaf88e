// The bindings of the settings, in the order in which they are called; all stand below `_Settings`.
#pragma once

#include "core/services/check_config.h"
#include "core/services/check_directories.h"
#include "host/py.h"

namespace kavel::host {

/// `Check` and its `Config`; returns the class `Check`.
[[nodiscard]] py::class_<services::CheckEntry> bind_check_config(py::handle settings);
/// The text class `Directory`; returns it.
[[nodiscard]] py::object bind_check_directory(py::handle check);
/// `Directory` and its `List`.
void bind_check_directories(py::handle check);
void bind_check_presets(py::handle check);
void bind_service_urls(py::handle settings);
/// The types of usage records, in the class `Type`.
void bind_statistics_records(py::handle type);

/// The text object that stands for a folder, made the first time.
[[nodiscard]] py::object directory_text(const Ref<services::CheckDirectory>& directory);

/// The folder behind such a text; throws a type error for any other object.
[[nodiscard]] Ref<services::CheckDirectory> directory_of(py::handle text);

/// A list of unified texts.
[[nodiscard]] py::list unified_list(const std::vector<std::string>& texts);

}  // namespace kavel::host
