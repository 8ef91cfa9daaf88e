#include "core/scene/drafter.h"

#include <algorithm>
#include <iterator>

#include "core/facade/constants.h"
#include "core/runtime/services.h"

namespace kavel::scene {
namespace {

JointKind kind_of(const hierarchy::PatternRule& rule, std::string_view type) {
  auto& data = *runtime::services().data;
  const hierarchy::RuleConfig& config = rule.config();
  return {config.stamp, std::string(type), data.text(config.icon), data.text(config.color)};
}

}  // namespace

std::string choose_name(std::span<const std::string> names) {
  const auto found =
      std::ranges::find_if(names, [](const std::string& name) { return !name.empty(); });
  return found == names.end() ? std::string() : *found;
}

Joint::Kind Drafter::kind(const Rule& rule, std::string_view type) {
  // A real object must not pass for a ghost because of its rule's name.
  if (rule->config().name == facade::type::kGhost) {
    return std::make_shared<const JointKind>(kind_of(*rule, type));
  }
  Known& known = known_[rule.get()];
  if (!known.rule) {
    known = {rule, std::make_shared<const JointKind>(kind_of(*rule, rule->config().name))};
  }
  return known.kind;
}

Draft::Item Drafter::ghost_item(const Draft& below, const std::string& ghost_path) {
  JointKind ghost = kind_of(*ghost_->rule, facade::type::kGhost);
  ghost.icon = "Ghost";
  std::vector<std::string> names;
  if (!ghost_path.empty()) names.push_back(scene_.name(ghost_path));
  for (const Draft::Item& item : below.items) {
    if (item.parent == 0) names.push_back(item.name.value_or(""));
  }
  return {std::make_shared<const JointKind>(std::move(ghost)), choose_name(names), ghost_path, -1};
}

Draft Drafter::draft(const hierarchy::Match& match, const std::string& ghost_path) {
  const std::int32_t shift = ghost_ ? 1 : 0;
  const Snapshot& table = scene_.table();
  Draft draft;
  draft.items.reserve(match.assignments.size() + 1);
  if (ghost_) draft.items.push_back({nullptr, std::nullopt, std::nullopt, -1});
  for (const hierarchy::Assignment& assignment : match.assignments) {
    const Id object = assignment.object;
    draft.items.push_back({kind(assignment.rule, table.type(object)),
                           std::string(table.name(object)), std::string(table.path(object)),
                           assignment.parent + shift});
  }
  // Last, since asking for its name may run foreign code.
  if (ghost_) draft.items.front() = ghost_item(draft, ghost_path);
  return draft;
}

}  // namespace kavel::scene
