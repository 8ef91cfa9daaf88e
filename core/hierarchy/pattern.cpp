#include "core/hierarchy/pattern.h"

#include <algorithm>

#include "core/facade/constants.h"
#include "core/foundation/errors.h"
#include "core/hierarchy/anchor_syntax.h"
#include "core/hierarchy/sorter.h"

namespace kavel::hierarchy {
namespace {

/// More numbers than this are never listed one by one.
constexpr std::int64_t kMaximumNumbers = 1'000'000;

const Scope& dereference(const Ref<Scope>& scope) { return *scope; }

}  // namespace

PatternRule::PatternRule(RuleConfig config, Value checklist)
    : config_(std::move(config)),
      definitions_(find_definitions(config_.regex)),
      types_(runtime::make<List<std::string>>(std::exchange(config_.types, {}))),
      checklist_(std::move(checklist)) {}

void PatternRule::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(config_.icon);
  visitor(config_.color);
  visitor(config_.range_object);
  visitor(types_);
  visitor(checklist_);
}

void PatternRule::drop_references() noexcept {
  config_.range_object = Value();
  checklist_ = Value();
}

bool PatternRule::accepts_type(std::string_view type) const {
  const std::vector<std::string>& types = types_->items;
  return types.empty() || std::ranges::find(types, type) != types.end();
}

std::vector<std::int64_t> PatternRule::numbers() const {
  const auto& [minimum, maximum] = config_.range;
  if (minimum > maximum) return {};
  if (maximum - minimum >= kMaximumNumbers) {
    throw foundation::Error(foundation::ErrorKind::value, "the range " + std::to_string(minimum) +
                                                              " to " + std::to_string(maximum) +
                                                              " holds too many numbers to list");
  }
  std::vector<std::int64_t> result;
  for (std::int64_t number = minimum; number <= maximum; ++number) result.push_back(number);
  return result;
}

bool operator==(const PatternRule& left, const PatternRule& right) {
  const RuleConfig& one = left.config_;
  const RuleConfig& other = right.config_;
  return one.stamp == other.stamp && one.name == other.name && one.regex == other.regex &&
         left.types_->items == right.types_->items && one.range == other.range;
}

Scope::~Scope() {
  std::vector<Ref<Scope>> pending;
  const auto take = [&pending](Scope& scope) {
    if (!scope.children || scope.children->face() != nullptr || scope.children->count() != 1) {
      return;
    }
    for (Ref<Scope>& child : scope.children->items) pending.push_back(std::move(child));
    scope.children->items.clear();
  };
  take(*this);
  while (!pending.empty()) {
    const Ref<Scope> last = std::move(pending.back());
    pending.pop_back();
    if (last && last->face() == nullptr && last->count() == 1) take(*last);
  }
}

bool Scope::is_ghost() const { return rule && rule->config().name == facade::type::kGhost; }

Pattern::Pattern(Value check_classes)
    : check_classes_(std::move(check_classes)), hierarchy_(runtime::make<Scope::Children>()) {}

void Pattern::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(check_classes_);
  visitor(hierarchy_);
  for (const auto& [stamp, rule] : rules_) visitor(rule);
}

void Pattern::drop_references() noexcept {
  check_classes_ = Value();
  rules_.clear();
}

void Pattern::set(std::vector<std::pair<RuleConfig, Value>> rules,
                  const std::vector<TreeItem>& tree) {
  std::unordered_map<std::string, Ref<PatternRule>> by_stamp;
  for (auto& [config, checklist] : rules) {
    const std::string stamp = config.stamp;
    by_stamp[stamp] = runtime::make<PatternRule>(std::move(config), std::move(checklist));
  }
  const auto top = runtime::make<Scope::Children>();
  std::vector<Ref<Scope>> scopes;
  scopes.reserve(tree.size());
  for (const TreeItem& item : tree) {
    const auto rule = by_stamp.find(item.stamp);
    auto scope =
        runtime::make<Scope>(rule == by_stamp.end() ? nullptr : runtime::shared(rule->second),
                             runtime::make<Scope::Children>());
    auto& siblings = item.parent < 0
                         ? top->items
                         : scopes[static_cast<std::size_t>(item.parent)]->children->items;
    siblings.push_back(scope);
    scopes.push_back(std::move(scope));
  }
  const auto ghost = std::ranges::find_if(top->items, &Scope::is_ghost, dereference);
  sort_scopes(ghost == top->items.end() ? top : (*ghost)->children);
  // What is replaced is let go only after everything stands: letting go can run foreign code.
  std::swap(by_stamp, rules_);
  std::swap(top->items, hierarchy_->items);
}

Ref<Scope> Pattern::get_ghost() const {
  for (const Ref<Scope>& scope : hierarchy_->items) {
    if (scope->is_ghost()) return scope;
  }
  return nullptr;
}

Ref<Scope::Children> Pattern::get() const {
  const Ref<Scope> ghost = get_ghost();
  return ghost ? ghost->children : hierarchy_;
}

Ref<PatternRule> Pattern::find(const std::string& stamp) const {
  const auto found = rules_.find(stamp);
  return found == rules_.end() ? nullptr : found->second;
}

}  // namespace kavel::hierarchy
