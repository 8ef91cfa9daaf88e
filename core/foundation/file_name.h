// Names of files: which ones from foreign documents are safe to use, and names that carry a time.
#pragma once

#include <string>
#include <string_view>

namespace kavel::foundation {

/// Whether a name from a foreign document may become the name of a JSON file in our folder: one
/// component on every system, no control characters, no device of Windows, no marker of another
/// file's access queue, ends with ".json", at most 200 characters in 230 bytes.
[[nodiscard]] bool is_safe_filename(std::string_view name);

/// Whether no name of ours holds the character: a separator of paths or of a drive, a control
/// character, a lone surrogate.
[[nodiscard]] bool is_forbidden_in_name(char32_t character) noexcept;
/// Whether Windows takes a file of that name for a device, whatever its extension.
[[nodiscard]] bool is_device_name(std::string_view name);

/// Stem, "-", the time rounded to whole seconds, extension: "scene.json" at 12.6 s since the epoch
/// is "scene-13.json".
[[nodiscard]] std::string timed_filename(const std::string& filename, double seconds);

}  // namespace kavel::foundation
