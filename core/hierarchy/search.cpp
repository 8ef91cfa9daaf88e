#include "core/hierarchy/search.h"

#include <algorithm>
#include <optional>
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

/// A level without items.
const std::shared_ptr<const Level>& no_level() {
  static const auto kLevel = std::make_shared<const Level>(std::vector<Ref<Scope>>());
  return kLevel;
}

}  // namespace

Level::Level(std::vector<Ref<Scope>> items)
    : scopes(std::move(items)),
      slots(rule_slots(scopes)),
      optional(std::ranges::any_of(scopes, [](const Ref<Scope>& scope) {
        return scope->rule && scope->rule->is_optional();
      })) {}

std::vector<RuleMatcher> Level::matchers(Vocabulary& vocabulary, AnchorState& state) const {
  std::vector<RuleMatcher> made;
  made.reserve(scopes.size());
  for (const Ref<Scope>& scope : scopes) {
    const std::string expression = scope->rule ? scope->rule->config().regex : "";
    made.emplace_back(vocabulary, state, expression);
  }
  return made;
}

LayerSearch::LayerSearch(scene::QueryPort& scene) : scene_(&scene), level_(no_level()) {}

void LayerSearch::load(std::span<const Id> roots, std::shared_ptr<const Level> level, bool exact) {
  left_.clear();
  scene_->locate(roots, left_);
  level_ = std::move(level);
  exact_ = exact;
  if (found_.size() < level_->slots.size()) found_.resize(level_->slots.size());
  for (std::size_t slot = 0; slot < level_->slots.size(); ++slot) found_[slot].clear();
}

void LayerSearch::drop_level() noexcept { level_ = no_level(); }

/// Whether an object of a fitting type is one for `scope`; its captures are in the state then.
bool LayerSearch::accepts(const Scope& scope, RuleMatcher& matcher, AnchorState& state,
                          Id object) const {
  const scene::Snapshot& table = scene_->table();
  const std::size_t before = state.position();
  if (!matcher.match(table.name(object), table.path(object))) return false;
  if (scope.children->items.empty() && !table.children(object).empty()) {
    // It matched but does not fit: what it captured must not decide below it.
    state.truncate(before);
    return false;
  }
  return true;
}

void LayerSearch::fill(std::size_t position, RuleMatcher& matcher, AnchorState& state) {
  const Scope& scope = *level_->scopes[position];
  const scene::Snapshot& table = scene_->table();
  const std::int64_t maximum = scope.rule->config().range.maximum;
  std::vector<Id>& found = found_[level_->slots[position]];
  found.clear();
  // Objects of one type mostly come together.
  std::optional<std::uint16_t> type;
  bool is_type_accepted = false;
  std::size_t kept = 0;
  std::size_t next = 0;
  for (; next < left_.size(); ++next) {
    const Id object = left_[next];
    if (type != table.type_key(object)) {
      type = table.type_key(object);
      is_type_accepted = scope.rule->accepts_type(table.type(object));
    }
    const std::size_t before = state.position();
    if (!is_type_accepted || !accepts(scope, matcher, state, object)) {
      left_[kept++] = object;
    } else if (static_cast<std::int64_t>(found.size()) < maximum) {
      found.push_back(object);
    } else {
      state.truncate(before);
      break;
    }
  }
  left_.erase(left_.begin() + static_cast<std::ptrdiff_t>(kept),
              left_.begin() + static_cast<std::ptrdiff_t>(next));
}

void LayerSearch::make_guess(std::span<RuleMatcher> matchers, AnchorState& state) {
  for (std::size_t position = 0; position < matchers.size(); ++position) {
    if (level_->scopes[position]->rule) fill(position, matchers[position], state);
  }
}

bool LayerSearch::wrong_guess() const {
  for (std::size_t position = 0; position < level_->scopes.size(); ++position) {
    const Ref<PatternRule>& rule = level_->scopes[position]->rule;
    if (!rule) continue;
    const auto count = static_cast<std::int64_t>(found(position).size());
    if (!rule->config().range.contains(count)) return true;
  }
  return exact_ && !left_.empty();
}

bool LayerSearch::guess(std::span<RuleMatcher> matchers, AnchorState& state) {
  const std::size_t before = state.position();
  make_guess(matchers, state);
  if (!wrong_guess()) return true;
  state.truncate(before);
  return false;
}

std::vector<Response> LayerSearch::responses() const {
  std::vector<Response> result;
  for (std::size_t position = 0; position < level_->scopes.size(); ++position) {
    if (!level_->scopes[position]->rule) continue;
    for (const Id object : found(position)) result.push_back({object, level_->scopes[position]});
  }
  return result;
}

Search::Search(std::unique_ptr<scene::QueryPort> scene)
    : scene_(std::move(scene)),
      logic_(runtime::make<Anchor>()),
      backup_(logic_->state()->clone()),
      level_(*scene_) {}

void Search::each_reference(runtime::ReferenceVisitor& visitor) const {
  scene_->each_reference(visitor);
  visitor(logic_);
  visitor(backup_);
  visitor(level_.level()->scopes);
}

void Search::drop_references() noexcept { level_.drop_level(); }

std::vector<Id> Search::ids(const std::vector<std::string>& paths) const {
  std::vector<Id> result;
  result.reserve(paths.size());
  for (const std::string& path : paths) result.push_back(scene_->table().intern(path));
  return result;
}

LayerSearch Search::load(const std::vector<std::string>& roots,
                         const std::vector<Ref<Scope>>& scopes, bool exact) const {
  LayerSearch level(*scene_);
  level.load(ids(roots), std::make_shared<const Level>(scopes), exact);
  return level;
}

void Search::guess(LayerSearch& level, AnchorState& state) const {
  const auto vocabulary = logic_->vocabulary(state);
  std::vector<RuleMatcher> matchers = level.level()->matchers(*vocabulary, state);
  level.make_guess(matchers, state);
}

void Search::load_variables(const std::vector<std::string>& roots,
                            const std::vector<Ref<Scope>>& scopes, bool exact) {
  LayerSearch level = load(roots, scopes, exact);
  std::swap(level_, level);
}

void Search::make_guess() {
  const auto state = logic_->state()->clone();
  LayerSearch level = level_;
  guess(level, *state);
  std::swap(level_, level);
  logic_->state()->swap(*state);
}

std::vector<Response> Search::layer(const std::vector<std::string>& roots,
                                    const std::vector<Ref<Scope>>& scopes, bool exact) {
  LayerSearch level = load(roots, scopes, exact);
  auto before = logic_->state()->clone();
  const auto state = before->clone();
  guess(level, *state);
  std::swap(backup_, before);
  level_ = level;
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
