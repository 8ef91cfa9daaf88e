// Filters that make names out of texts of users and scenes.
//
// All are pure: texts in, texts out; characters are Unicode code points.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace kavel::hierarchy::naming {

/// First and last code point that a filter lets through.
using CharacterRange = std::pair<char32_t, char32_t>;

/// Printable ASCII.
inline constexpr CharacterRange kLatin[] = {{32, 126}};
/// Printable ASCII and the letters of the Russian alphabet.
inline constexpr CharacterRange kEnRu[] = {{32, 126}, {1025, 1025}, {1040, 1103}, {1105, 1105}};

/// Without the characters of `characters` at both ends.
[[nodiscard]] std::string strip(std::string_view name, std::string_view characters);
/// Without blanks at both ends.
[[nodiscard]] std::string space_filter(std::string_view text);
/// Without the ghost type's name, in one pass: what then grows together stays.
[[nodiscard]] std::string ghost_filter(std::string_view text);
/// Only the characters within `ranges`, in their order.
[[nodiscard]] std::string character_filter(std::string_view text,
                                           std::span<const CharacterRange> ranges);
[[nodiscard]] std::string latin_filter(std::string_view text);
[[nodiscard]] std::string en_ru_filter(std::string_view text);

/// `name` after the filter of `facade::filter` that `method` names; any other method changes
/// nothing.
[[nodiscard]] std::string approved_name(std::string_view name, std::string_view method);
/// Whether the filter would leave `name` as it is; for the method EMPTY: whether it is not empty.
[[nodiscard]] bool is_approved(std::string_view name, std::string_view method);

/// Lower-case ASCII letters, digits and "_" only: Cyrillic letters are transliterated, blanks and
/// points become "_", anything else is dropped. With `title` each word starts in upper case.
[[nodiscard]] std::string force_ascii(std::string_view name, bool title = false);

/// Whether `name` starts with two underscores and goes on behind them on the same line.
[[nodiscard]] bool is_private(std::string_view name) noexcept;
/// Whether `name` is not empty, consists of ASCII letters, digits and "_" and starts with no digit.
[[nodiscard]] bool is_attribute(std::string_view name) noexcept;

}  // namespace kavel::hierarchy::naming
