// Check classes of the interpreter, read by attribute.
#pragma once

#include <memory>

#include "core/checks/check_list.h"
#include "core/checks/class_loader.h"
#include "host/py.h"

namespace kavel::host {

[[nodiscard]] std::unique_ptr<checks::CheckClassPort> check_class(const py::object& object);

/// The source of check classes over `directories`, any iterable of texts; one with an attribute
/// `enabled` that is false is not searched.
[[nodiscard]] std::unique_ptr<checks::ClassSource> class_source(Value directories);

/// What a check list is made of. classes: the registry, any iterable of check classes, or
/// none; presets: anything but a `_Settings.Check.Presets` counts as none.
[[nodiscard]] checks::CheckList::Given check_list_parts(const py::object& classes,
                                                        const py::object& presets,
                                                        const py::object& config);

}  // namespace kavel::host
