#include "core/projects/rule_list.h"

#include <algorithm>
#include <unordered_map>

#include "core/projects/fields.h"

namespace kavel::projects {

using foundation::Json;
using runtime::Ref;

RuleList::RuleList()
    : rules_(runtime::make<Rules>()), names_(runtime::make<hierarchy::NamesControl>()) {}

RuleList::RuleList(const Json& data) : RuleList() {
  if (data.array() == nullptr) {
    throw foundation::Error(foundation::ErrorKind::type, "rules are read from a list");
  }
  for (const Json& item : *data.array()) {
    const std::string place = "rule " + std::to_string(rules_->items.size() + 1);
    rules_->items.push_back(at_place(place, [&] { return runtime::make<Rule>(item); }));
  }
  sync_names();
}

Ref<RuleList> RuleList::predefined() {
  auto list = runtime::make<RuleList>();
  for (const PredefinedRule& row : predefined_rules()) list->append(make_rule(row));
  return list;
}

Json RuleList::data() const {
  Json::Array data;
  for (const Ref<Rule>& rule : rules_->items) data.push_back(rule->data());
  return data;
}

std::vector<std::string> RuleList::names() const {
  std::vector<std::string> names;
  for (const Ref<Rule>& rule : rules_->items) names.push_back(rule->name);
  std::ranges::sort(names);
  return names;
}

bool RuleList::has_ghost() const noexcept {
  return std::ranges::any_of(rules_->items, [](const auto& rule) { return rule->is_ghost(); });
}

bool RuleList::has_unique_name(const Rule& rule) const noexcept {
  return std::ranges::none_of(rules_->items, [&rule](const Ref<Rule>& other) {
    return other.get() != &rule && other->name == rule.name;
  });
}

Ref<Rule> RuleList::get(const std::string& stamp) const {
  const auto found = std::ranges::find_if(
      rules_->items, [&stamp](const Ref<Rule>& rule) { return rule->stamp == stamp; });
  return found == rules_->items.end() ? nullptr : *found;
}

void RuleList::sync_names() {
  names_->clear();
  for (const Ref<Rule>& rule : rules_->items) names_->append(rule->name);
}

bool RuleList::append(const Ref<Rule>& rule) {
  if (contains(*rule) || (rule->is_ghost() && has_ghost())) return false;
  rule->name = names_->get_init(rule->name);
  names_->append(rule->name);
  rules_->items.push_back(rule);
  return true;
}

bool RuleList::remove(const Ref<Rule>& rule) {
  const Ref<Rule> kept = rule;
  const auto found = std::ranges::find(rules_->items, kept);
  if (found == rules_->items.end()) return false;
  rules_->items.erase(found);
  // A file may give one name to two rules: the other one's stays in use.
  sync_names();
  return true;
}

std::optional<std::string> RuleList::rename(const Ref<Rule>& rule, const std::string& name) {
  if (!contains(*rule)) return std::nullopt;
  if (name == rule->name) return name;
  if (has_unique_name(*rule)) names_->remove(rule->name);
  rule->name = names_->get_init(name);
  names_->append(rule->name);
  return rule->name;
}

void RuleList::reorder(std::span<const Ref<Rule>> order) {
  std::unordered_map<std::string, std::size_t> positions;
  const auto place = [&positions](const Ref<Rule>& rule) {
    positions.try_emplace(rule->stamp, positions.size());
  };
  for (const Ref<Rule>& rule : order) {
    if (contains(*rule)) place(rule);
  }
  for (const Ref<Rule>& rule : rules_->items) place(rule);
  std::ranges::stable_sort(
      rules_->items, {}, [&positions](const Ref<Rule>& rule) { return positions.at(rule->stamp); });
}

bool RuleList::contains(const Rule& rule) const noexcept {
  return std::ranges::find(rules_->items, &rule, &Ref<Rule>::get) != rules_->items.end();
}

}  // namespace kavel::projects
