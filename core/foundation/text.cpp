#include "core/foundation/text.h"

#include <array>
#include <charconv>
#include <cmath>

namespace kavel::foundation {

std::string format(std::string_view pattern, std::initializer_list<std::string_view> arguments) {
  std::string result;
  const auto* next = arguments.begin();
  for (std::size_t position = 0; position < pattern.size(); ++position) {
    if (pattern.substr(position, 2) == "{}" && next != arguments.end()) {
      result += *next++;
      ++position;
    } else {
      result += pattern[position];
    }
  }
  return result;
}

std::vector<std::string> split(std::string_view text, std::string_view separator) {
  std::vector<std::string> parts;
  std::size_t begin = 0;
  for (std::size_t end = text.find(separator); end != std::string_view::npos;
       end = text.find(separator, begin)) {
    parts.emplace_back(text.substr(begin, end - begin));
    begin = end + separator.size();
  }
  parts.emplace_back(text.substr(begin));
  return parts;
}

std::string join(const std::vector<std::string>& parts, std::string_view separator) {
  std::string result;
  for (const std::string& part : parts) {
    if (&part != &parts.front()) result += separator;
    result += part;
  }
  return result;
}

std::string replace_all(std::string_view text, std::string_view old, std::string_view replacement) {
  if (old.empty()) return std::string(text);
  return join(split(text, old), replacement);
}

bool contains(std::string_view text, std::string_view part) noexcept {
  return text.find(part) != std::string_view::npos;
}

char32_t next_code_point(std::string_view text, std::size_t& position) noexcept {
  const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  const unsigned char first = byte(position++);
  std::size_t following = 0;
  char32_t code_point = first;
  if (first >= 0xF0) {
    following = 3;
    code_point = first & 0x07U;
  } else if (first >= 0xE0) {
    following = 2;
    code_point = first & 0x0FU;
  } else if (first >= 0xC0) {
    following = 1;
    code_point = first & 0x1FU;
  }
  for (; following > 0 && position < text.size() && (byte(position) & 0xC0U) == 0x80U;
       --following) {
    code_point = (code_point << 6U) | (byte(position++) & 0x3FU);
  }
  return code_point;
}

void append_code_point(std::string& text, char32_t code_point) {
  const auto tail = [&](unsigned shift) {
    text += static_cast<char>(0x80U | ((code_point >> shift) & 0x3FU));
  };
  if (code_point < 0x80) {
    text += static_cast<char>(code_point);
  } else if (code_point < 0x800) {
    text += static_cast<char>(0xC0U | (code_point >> 6U));
    tail(0);
  } else if (code_point < 0x10000) {
    text += static_cast<char>(0xE0U | (code_point >> 12U));
    tail(6);
    tail(0);
  } else {
    text += static_cast<char>(0xF0U | (code_point >> 18U));
    tail(12);
    tail(6);
    tail(0);
  }
}

std::size_t count_shared_code_points(std::string_view left, std::string_view right) noexcept {
  std::size_t count = 0;
  std::size_t left_position = 0;
  std::size_t right_position = 0;
  while (left_position < left.size() && right_position < right.size()) {
    if (next_code_point(left, left_position) != next_code_point(right, right_position)) break;
    ++count;
  }
  return count;
}

std::string number_text(double value) {
  // The interpreter's choice of the form, where the library would take the shorter one.
  const double size = std::abs(value);
  const bool is_fixed = size == 0 || (size >= 1e-4 && size < 1e16);
  const auto form = is_fixed ? std::chars_format::fixed : std::chars_format::scientific;
  std::array<char, 32> buffer{};
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, form);
  std::string text(buffer.data(), end.ptr);
  if (text.find_first_not_of("-0123456789") == std::string::npos) text += ".0";
  return text;
}

}  // namespace kavel::foundation
