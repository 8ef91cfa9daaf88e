// Operations on texts: UTF-8 in which a lone surrogate is written as its three bytes.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace kavel::foundation {

/// `pattern` with each "{}" replaced by the next argument; surplus arguments are ignored.
[[nodiscard]] std::string format(std::string_view pattern,
                                 std::initializer_list<std::string_view> arguments);

/// The parts between `separator`s; one more than there are separators.
[[nodiscard]] std::vector<std::string> split(std::string_view text, std::string_view separator);
[[nodiscard]] std::string join(const std::vector<std::string>& parts, std::string_view separator);

/// `text` with every occurrence of `old` replaced; unchanged for an empty `old`.
[[nodiscard]] std::string replace_all(std::string_view text, std::string_view old,
                                      std::string_view replacement);
[[nodiscard]] bool contains(std::string_view text, std::string_view part) noexcept;

/// Reads the code point at `position` and moves `position` behind it. Bytes that start no valid
/// sequence count as code points of their own.
[[nodiscard]] char32_t next_code_point(std::string_view text, std::size_t& position) noexcept;
void append_code_point(std::string& text, char32_t code_point);
/// Number of leading code points on which the two texts agree.
[[nodiscard]] std::size_t count_shared_code_points(std::string_view left,
                                                   std::string_view right) noexcept;

/// Shortest decimal text that reads back as the same number, as the interpreter prints it.
[[nodiscard]] std::string number_text(double value);

}  // namespace kavel::foundation
