// Which host application the interpreter belongs to, told by the scripting modules it can import.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace kavel::scene {

struct Software {
  std::string_view module;
  std::string_view name;
};

/// In the order in which they are tried.
inline constexpr Software kSoftware[] = {
    {"bpy", "Blender"}, {"maya.cmds", "Maya"}, {"MaxPlus", "3dsMax"}, {"pymxs", "3dsMax"}};
inline constexpr std::string_view kUnknownSoftware = "Unknown";

/// The name of the first application whose module `importable` accepts, else "Unknown".
[[nodiscard]] std::string_view detect_software(
    const std::function<bool(std::string_view module)>& importable);

}  // namespace kavel::scene
