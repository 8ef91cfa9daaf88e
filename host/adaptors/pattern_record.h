// The rules and the rule tree of a record, as any object of the host with the right attributes
// hands them to the pattern.
#pragma once

#include "core/hierarchy/pattern.h"
#include "host/py.h"

namespace kavel::host {

/// Throws a type error for fields of a wrong type.
[[nodiscard]] hierarchy::RuleConfig rule_config(const py::object& rule);

/// Each rule with a new check list of `classes`, loaded with the rule's configuration.
[[nodiscard]] std::vector<std::pair<hierarchy::RuleConfig, Value>> rule_configs(
    const Value& classes, const py::object& rules);

/// The nodes below `root` in pre-order. Throws a recursion error for a tree below itself.
[[nodiscard]] std::vector<hierarchy::TreeItem> tree_items(const py::object& root);

}  // namespace kavel::host
