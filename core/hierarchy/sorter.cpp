#include "core/hierarchy/sorter.h"

#include <algorithm>
#include <queue>
#include <unordered_map>
#include <unordered_set>

#include "core/foundation/errors.h"
#include "core/hierarchy/anchor_syntax.h"

namespace kavel::hierarchy {
namespace {

std::string anchor_name(const std::string& definition) {
  return definition.substr(0, definition.find(':'));
}

/// For each unit the positions of the others that define something it uses.
std::vector<std::vector<std::size_t>> dependants(const std::vector<SortUnit>& units,
                                                 std::vector<std::size_t>& waiting) {
  std::unordered_map<std::string, std::vector<std::size_t>> definers;
  for (std::size_t position = 0; position < units.size(); ++position) {
    for (const std::string& text : units[position].definition) {
      definers[anchor_name(text)].push_back(position);
    }
  }
  std::vector<std::vector<std::size_t>> result(units.size());
  for (std::size_t position = 0; position < units.size(); ++position) {
    std::unordered_set<std::size_t> needed;
    for (const std::string& name : units[position].usage) {
      if (const auto found = definers.find(name); found != definers.end()) {
        needed.insert(found->second.begin(), found->second.end());
      }
    }
    needed.erase(position);
    waiting[position] = needed.size();
    for (const std::size_t definer : needed) result[definer].push_back(position);
  }
  return result;
}

}  // namespace

std::vector<SortUnit> sort_units(const std::vector<Ref<Scope>>& scopes) {
  std::vector<SortUnit> units;
  for (std::size_t index = 0; index < scopes.size(); ++index) {
    SortUnit unit{index, {}, {}};
    if (scopes[index] && scopes[index]->rule) {
      for (std::string& piece : find_all_anchors(scopes[index]->rule->config().regex, true)) {
        (has_definition(piece) ? unit.definition : unit.usage).push_back(std::move(piece));
      }
    }
    units.push_back(std::move(unit));
  }
  return units;
}

bool has_dependency(const std::vector<std::string>& definition,
                    const std::vector<std::string>& usage) {
  return std::ranges::any_of(definition, [&](const std::string& text) {
    return std::ranges::find(usage, anchor_name(text)) != usage.end();
  });
}

void change_order(std::vector<SortUnit>& units) {
  std::vector<std::size_t> waiting(units.size());
  const auto followers = dependants(units, waiting);
  std::priority_queue<std::size_t, std::vector<std::size_t>, std::greater<>> ready;
  for (std::size_t position = 0; position < units.size(); ++position) {
    if (waiting[position] == 0) ready.push(position);
  }
  std::vector<bool> taken(units.size(), false);
  std::vector<SortUnit> ordered;
  std::size_t first_left = 0;
  while (ordered.size() < units.size()) {
    while (first_left < units.size() && taken[first_left]) ++first_left;
    std::size_t next = first_left;
    if (!ready.empty()) {
      next = ready.top();
      ready.pop();
      if (taken[next]) continue;
    }
    taken[next] = true;
    for (const std::size_t follower : followers[next]) {
      if (--waiting[follower] == 0 && !taken[follower]) ready.push(follower);
    }
    ordered.push_back(std::move(units[next]));
  }
  units = std::move(ordered);
}

void shuffle_scopes(Scope::Children& scopes, const std::vector<SortUnit>& units) {
  foundation::assert_that(units.size() == scopes.items.size(),
                          "the order does not fit the list of scopes");
  std::vector<Ref<Scope>> ordered;
  ordered.reserve(units.size());
  for (const SortUnit& unit : units) ordered.push_back(scopes.items.at(unit.index));
  std::swap(scopes.items, ordered);
}

void sort_scopes(const Ref<Scope::Children>& scopes) {
  std::vector<Ref<Scope::Children>> pending{scopes};
  // A host may hang an item below itself.
  std::unordered_set<const Scope::Children*> sorted;
  while (!pending.empty()) {
    const Ref<Scope::Children> list = std::move(pending.back());
    pending.pop_back();
    if (!sorted.insert(list.get()).second) continue;
    auto units = sort_units(list->items);
    change_order(units);
    shuffle_scopes(*list, units);
    for (const Ref<Scope>& scope : list->items) pending.push_back(scope->children);
  }
}

}  // namespace kavel::hierarchy
