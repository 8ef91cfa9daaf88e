// The constant groups of the interface as tables: the binding makes classes from them, the tests
// and the core read the same values.
#pragma once

#include <span>
#include <string_view>

#include "core/foundation/kinds.h"

namespace kavel::facade {

namespace type = foundation::type;
namespace result = foundation::result;

namespace target {
inline constexpr std::string_view kMaya = "maya";
inline constexpr std::string_view k3dsMax = "3dsmax";
inline constexpr std::string_view kBlender = "blender";
inline constexpr std::string_view kStandalone = "standalone";
}  // namespace target

namespace filter {
inline constexpr std::string_view kLatin = "LATIN";
inline constexpr std::string_view kEnRu = "EN_RU";
inline constexpr std::string_view kEmpty = "EMPTY";
inline constexpr std::string_view kSpace = "SPACE";
inline constexpr std::string_view kGhost = "GHOST";
}  // namespace filter

enum class CheckMode { selection = 0, project = 1 };
enum class ExportMode { choose = 0, project = 1, local = 2 };

inline constexpr bool kSuccess = true;
inline constexpr bool kFailure = false;

/// A member of a constant group: a text, or a small number when `text` is empty.
struct Constant {
  std::string_view name;
  std::string_view text;
  int number = 0;
};

/// A group below `Constants`, for example "Check" and "Mode".
struct ConstantGroup {
  std::string_view scope;
  std::string_view name;
  std::string_view doc;
  std::span<const Constant> members;
  bool boolean = false;
};

inline constexpr Constant kCheckModes[] = {{"Selection", "", 0}, {"Project", "", 1}};
inline constexpr Constant kCheckCategories[] = {
    {"Scene", "scene"},     {"Object", "object"},
    {"Mesh", "mesh"},       {"MeshNonManifold", "mesh non-manifold"},
    {"Mapping", "mapping"}, {"Material", "material"},
    {"Lod", "lod"},         {"Project", "project"}};
inline constexpr Constant kCheckResults[] = {{"Pass", result::kPass},
                                             {"Info", result::kInfo},
                                             {"Fail", result::kFail},
                                             {"Error", result::kError}};
inline constexpr Constant kExportFormats[] = {{"FBX", "fbx"}};
inline constexpr Constant kExportModes[] = {
    {"Choose", "", 0}, {"Project", "", 1}, {"Local", "", 2}};
inline constexpr Constant kSceneTypes[] = {
    {"Ghost", type::kGhost}, {"SceneRoot", type::kSceneRoot}, {"Transform", type::kTransform},
    {"Mesh", type::kMesh},   {"Locator", type::kLocator},     {"LodGroup", type::kLodGroup}};
inline constexpr Constant kStatuses[] = {{"Success", "", 1}, {"Failure", "", 0}};
inline constexpr Constant kTargets[] = {{"DCC_Maya", target::kMaya},
                                        {"DCC_3dsMax", target::k3dsMax},
                                        {"DCC_Blender", target::kBlender},
                                        {"Standalone", target::kStandalone}};
inline constexpr Constant kNameFilters[] = {{"LATIN", filter::kLatin},
                                            {"EN_RU", filter::kEnRu},
                                            {"EMPTY", filter::kEmpty},
                                            {"SPACE", filter::kSpace},
                                            {"GHOST", filter::kGhost}};

inline constexpr ConstantGroup kConstantGroups[] = {
    {"Check", "Mode", "Enum to switch check logic.", kCheckModes},
    {"Check", "Category", "Categories of checks, in the order of their groups.", kCheckCategories},
    {"Check", "Result", "Outcomes of a check, from best to worst.", kCheckResults},
    {"Export", "Format", "Exchange formats.", kExportFormats},
    {"Export", "Mode", "Enum to switch export logic.", kExportModes},
    {"Scene", "Type", "Unified object types.", kSceneTypes},
    {"Plugin", "Status", "Aliases of bool values.", kStatuses, true},
    {"Plugin", "Target", "Host applications.", kTargets},
    {"Name", "Filter", "Name filters.", kNameFilters},
};

}  // namespace kavel::facade
