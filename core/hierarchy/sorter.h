// The scope sorter: among siblings, items whose expressions define an anchor come before those
// whose expressions use it; otherwise the order of the list stays.
#pragma once

#include <string>
#include <vector>

#include "core/hierarchy/pattern.h"

namespace kavel::hierarchy {

/// The anchors of one sibling: inner texts of its definitions and of its usages.
struct SortUnit {
  std::size_t index;
  std::vector<std::string> definition;
  std::vector<std::string> usage;
};

/// One unit for each scope, in list order; a scope without a rule has no anchors.
[[nodiscard]] std::vector<SortUnit> sort_units(const std::vector<Ref<Scope>>& scopes);
/// Whether one of the usages names an anchor of the definitions.
[[nodiscard]] bool has_dependency(const std::vector<std::string>& definition,
                                  const std::vector<std::string>& usage);
/// Rearranges the units: each time the first one is taken that uses nothing which another remaining
/// one defines; in a cycle the first remaining one.
void change_order(std::vector<SortUnit>& units);
/// Rewrites the list in the order of the units' indices.
void shuffle_scopes(Scope::Children& scopes, const std::vector<SortUnit>& units);
/// Sorts a list of siblings and every list below it.
void sort_scopes(const Ref<Scope::Children>& scopes);

}  // namespace kavel::hierarchy
