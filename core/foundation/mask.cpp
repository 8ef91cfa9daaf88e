#include "core/foundation/mask.h"

#include <algorithm>

#include "core/foundation/kinds.h"

namespace kavel::foundation {
namespace {

constexpr MaskItem kGhostItems[] = {
    {"SceneRoot", "scene root", {type::kSceneRoot}, true},
    {"Transform", "group", {type::kTransform}, true},
    {"Locator", "locator", {type::kLocator}, true},
    {"TransformLocator", "group or locator", {type::kLocator, type::kTransform}, true},
};
constexpr MaskItem kTypeItems[] = {
    {"TransformLocator", "Loc. or Group", {type::kLocator, type::kTransform}, true},
    {"Locator", "Locator", {type::kLocator}, true},
    {"Transform", "Group", {type::kTransform}, true},
    {"LodGroup", "LOD Group", {type::kLodGroup}, true},
    {"Mesh", "Mesh", {type::kMesh}, true},
    {"Any", "Any", {}, false},
};
constexpr MaskItem kResultItems[] = {
    {"Fail", "Fail", {result::kFail}, false},
    {"FailInfo", "Fail & Info", {result::kFail, result::kInfo}, false},
};
constexpr MaskSet kSets[] = {
    {"Ghost", "Choices for a ghost item of the pattern.", kGhostItems},
    {"Type", "Choices for the type of a pattern item.", kTypeItems},
    {"Result", "Choices for filtering check results.", kResultItems},
};

}  // namespace

std::span<const MaskSet> mask_sets() { return kSets; }

std::vector<std::size_t> offered(const MaskSet& set,
                                 const std::function<bool(std::string_view)>& exists) {
  std::vector<std::size_t> positions;
  for (std::size_t position = 0; position < set.items.size(); ++position) {
    const MaskItem& item = set.items[position];
    const bool known = std::ranges::all_of(
        item.types, [&](std::string_view type) { return type.empty() || exists(type); });
    if (!item.mapped || known) positions.push_back(position);
  }
  return positions;
}

}  // namespace kavel::foundation
