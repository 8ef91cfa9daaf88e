#include "core/hierarchy/search.h"

#include <algorithm>
#include <unordered_map>

namespace kavel::hierarchy {
namespace {

using scene::Id;

/// Up to this many items are compared pairwise; more go through a table.
constexpr std::size_t kFewScopes = 8;

bool same_rule(const Ref<PatternRule>& left, const Ref<PatternRule>& right) {
  return left == right || (left && right && *left == *right);
}

/// For each item the position of the first one with an equal rule.
std::vector<std::size_t> rule_slots(const std::vector<Ref<Scope>>& scopes) {
  std::vector<std::size_t> slots(scopes.size());
  std::unordered_multimap<std::string_view, std::size_t> by_stamp;
  for (std::size_t position = 0; position < scopes.size(); ++position) {
    slots[position] = position;
    const Ref<PatternRule>& rule = scopes[position]->rule;
    if (!rule) continue;
    if (scopes.size() <= kFewScopes) {
      for (std::size_t before = 0; before < position; ++before) {
        if (slots[before] == before && same_rule(scopes[before]->rule, rule)) {
          slots[position] = before;
          break;
        }
      }
      continue;
    }
    const auto [begin, end] = by_stamp.equal_range(rule->config().stamp);
    const auto same = std::find_if(
        begin, end, [&](const auto& entry) { return same_rule(scopes[entry.second]->rule, rule); });
    if (same != end) {
      slots[position] = same->second;
    } else {
      by_stamp.emplace(rule->config().stamp, position);
    }
  }
  return slots;
}

}  // namespace

void LayerSearch::load(std::span<const Id> roots, std::vector<Ref<Scope>> scopes, bool exact) {
  left_ = scene_->locate(roots);
  scopes_ = std::move(scopes);
  exact_ = exact;
  slots_ = rule_slots(scopes_);
  found_.assign(scopes_.size(), {});
}

void LayerSearch::drop_scopes() noexcept {
  scopes_.clear();
  slots_.clear();
  found_.clear();
}

bool LayerSearch::accepts(const Scope& scope, RuleMatcher& matcher, Id object) {
  const scene::Snapshot& table = scene_->table();
  if (!scope.rule->accepts_type(table.type(object))) return false;
  const std::size_t before = state_->position();
  if (!matcher.match(table.name(object), table.path(object))) return false;
  if (scope.children->items.empty() && !table.children(object).empty()) {
    // It matched but does not fit: what it captured must not decide below it.
    state_->truncate(before);
    return false;
  }
  return true;
}

void LayerSearch::fill(std::size_t position) {
  const Ref<Scope> scope = scopes_[position];
  const RuleRange range = scope->rule->config().range;
  RuleMatcher matcher(*vocabulary_, *state_, scope->rule->config().regex);
  std::vector<Id> found;
  std::vector<Id> left;
  std::size_t next = 0;
  for (; next < left_.size(); ++next) {
    const std::size_t before = state_->position();
    if (!accepts(*scope, matcher, left_[next])) {
      left.push_back(left_[next]);
    } else if (static_cast<std::int64_t>(found.size()) < range.maximum) {
      found.push_back(left_[next]);
    } else {
      state_->truncate(before);
      break;
    }
  }
  left.insert(left.end(), left_.begin() + static_cast<std::ptrdiff_t>(next), left_.end());
  found_[slots_[position]] = std::move(found);
  left_ = std::move(left);
}

void LayerSearch::make_guess() {
  for (std::size_t position = 0; position < scopes_.size(); ++position) {
    if (scopes_[position]->rule) fill(position);
  }
}

bool LayerSearch::wrong_guess() const {
  for (std::size_t position = 0; position < scopes_.size(); ++position) {
    const Ref<PatternRule>& rule = scopes_[position]->rule;
    if (!rule) continue;
    const auto count = static_cast<std::int64_t>(found_[slots_[position]].size());
    if (!rule->config().range.contains(count)) return true;
  }
  return exact_ && !left_.empty();
}

std::vector<Response> LayerSearch::responses() const {
  std::vector<Response> result;
  for (std::size_t position = 0; position < scopes_.size(); ++position) {
    if (!scopes_[position]->rule) continue;
    for (const Id object : found_[slots_[position]]) result.push_back({object, scopes_[position]});
  }
  return result;
}

std::vector<Response> LayerSearch::run(std::span<const Id> roots, std::vector<Ref<Scope>> scopes,
                                       bool exact) {
  load(roots, std::move(scopes), exact);
  const std::size_t before = state_->position();
  make_guess();
  if (!wrong_guess()) return responses();
  state_->truncate(before);
  return {};
}

Search::Search(std::unique_ptr<scene::QueryPort> scene)
    : scene_(std::move(scene)),
      logic_(runtime::make<Anchor>()),
      backup_(logic_->state()->clone()),
      level_(*scene_, nullptr, nullptr) {}

void Search::each_reference(runtime::ReferenceVisitor& visitor) const {
  scene_->each_reference(visitor);
  visitor(logic_);
  visitor(backup_);
  visitor(level_.scopes());
}

void Search::drop_references() noexcept { level_.drop_scopes(); }

std::vector<Id> Search::ids(const std::vector<std::string>& paths) const {
  std::vector<Id> result;
  result.reserve(paths.size());
  for (const std::string& path : paths) result.push_back(scene_->table().intern(path));
  return result;
}

LayerSearch Search::guess(LayerSearch level, const Ref<AnchorState>& state) const {
  level.use(logic_->vocabulary(*state), state);
  level.make_guess();
  level.use(nullptr, nullptr);
  return level;
}

void Search::publish(LayerSearch level) noexcept { std::swap(level_, level); }

void Search::load_variables(const std::vector<std::string>& roots,
                            const std::vector<Ref<Scope>>& scopes, bool exact) {
  LayerSearch level(*scene_, nullptr, nullptr);
  level.load(ids(roots), scopes, exact);
  publish(std::move(level));
}

void Search::make_guess() {
  const auto state = logic_->state()->clone();
  publish(guess(level_, state));
  logic_->state()->swap(*state);
}

std::vector<Response> Search::layer(const std::vector<std::string>& roots,
                                    const std::vector<Ref<Scope>>& scopes, bool exact) {
  LayerSearch level(*scene_, nullptr, nullptr);
  level.load(ids(roots), scopes, exact);
  auto before = logic_->state()->clone();
  const auto state = before->clone();
  level = guess(std::move(level), state);
  std::swap(backup_, before);
  publish(level);
  if (level.wrong_guess()) return {};
  logic_->state()->swap(*state);
  return level.responses();
}

bool Search::scope_match(const std::string& name, const std::string& path, const std::string& type,
                         bool has_children, const Scope& scope) {
  if (!scope.rule || !scope.rule->accepts_type(type)) return false;
  AnchorState& state = *logic_->state();
  const std::size_t before = state.position();
  if (!logic_->match(scope.rule->config().regex, name, path)) return false;
  if (!scope.children->items.empty() || !has_children) return true;
  state.truncate(before);
  return false;
}

}  // namespace kavel::hierarchy
