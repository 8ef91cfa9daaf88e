#include "core/foundation/file_name.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::foundation {
namespace {

constexpr std::size_t kMaximumLength = 200;
/// In bytes: file systems take 255, and the queue's markers and copies need room behind a name.
constexpr std::size_t kMaximumSize = 230;
constexpr std::string_view kExtension = ".json";
constexpr std::string_view kDevices[] = {"con", "prn", "aux", "nul", "conin$", "conout$", "clock$"};
constexpr std::string_view kNumberedDevices[] = {"com", "lpt"};

/// The access queue of "a.json" takes every "a.json.id.1..." for a ticket, with any character in
/// the place of the point, and removes old ones.
bool is_marker(std::string_view name) noexcept {
  constexpr std::string_view kTicket = "json.id.";
  for (std::size_t found = name.find(kTicket); found != std::string_view::npos;
       found = name.find(kTicket, found + 1)) {
    const std::size_t behind = found + kTicket.size();
    if (behind < name.size() && name[behind] >= '0' && name[behind] <= '9') return true;
  }
  return false;
}

}  // namespace

bool is_forbidden_in_name(char32_t character) noexcept {
  const bool control = character < 0x20 || (character >= 0x7F && character < 0xA0);
  const bool surrogate = character >= 0xD800 && character < 0xE000;
  return control || surrogate || character == U'/' || character == U'\\' || character == U':';
}

bool is_device_name(std::string_view name) {
  // What stands before the first point counts, whatever follows it.
  std::string stem(name.substr(0, name.find('.')));
  stem.erase(stem.find_last_not_of(' ') + 1);
  for (char& character : stem) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character + 0x20);
  }
  if (std::ranges::find(kDevices, stem) != std::end(kDevices)) return true;
  if (stem.size() < 4) return false;
  // The three superscript digits count as digits there.
  const std::string_view number = std::string_view(stem).substr(3);
  const bool digit = (number.size() == 1 && number[0] >= '0' && number[0] <= '9') ||
                     number == "\u00b9" || number == "\u00b2" || number == "\u00b3";
  return digit &&
         std::ranges::find(kNumberedDevices, stem.substr(0, 3)) != std::end(kNumberedDevices);
}

bool is_safe_filename(std::string_view name) {
  if (name.size() > kMaximumSize || !name.ends_with(kExtension)) return false;
  // With nothing but points before it, ".json" is no extension: such a file would not be loaded.
  const std::string_view stem = name.substr(0, name.size() - kExtension.size());
  if (stem.find_first_not_of('.') == std::string_view::npos) return false;
  std::size_t length = 0;
  for (std::size_t position = 0; position < name.size(); ++length) {
    if (is_forbidden_in_name(next_code_point(name, position))) return false;
  }
  return length <= kMaximumLength && !is_device_name(name) && !is_marker(name);
}

std::string timed_filename(const std::string& filename, double seconds) {
  const auto [stem, extension] = runtime::services().files->split_extension(filename);
  std::array<char, 400> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), seconds,
                                 std::chars_format::fixed, 0);
  return stem + "-" + std::string(digits.data(), end.ptr) + extension;
}

}  // namespace kavel::foundation
