// The unified types of scene objects and the results of checks, as the interface spells them.
#pragma once

#include <string_view>

namespace kavel::foundation {

namespace type {
inline constexpr std::string_view kGhost = "ghost";
inline constexpr std::string_view kSceneRoot = "sceneRoot";
inline constexpr std::string_view kTransform = "transform";
inline constexpr std::string_view kMesh = "mesh";
inline constexpr std::string_view kLocator = "locator";
inline constexpr std::string_view kLodGroup = "lodGroup";
}  // namespace type

namespace result {
inline constexpr std::string_view kPass = "pass";
inline constexpr std::string_view kInfo = "info";
inline constexpr std::string_view kFail = "fail";
inline constexpr std::string_view kError = "error";
}  // namespace result

}  // namespace kavel::foundation
