#include "core/foundation/json_writer.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/foundation/text.h"

namespace kavel::foundation {
namespace {

constexpr std::string_view kHexadecimal = "0123456789abcdef";

void append_unit(std::string& output, unsigned int unit) {
  output += "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) output += kHexadecimal[(unit >> shift) & 0xF];
}

/// The letter of a short escape; 0 when the character has none.
char short_escape(char character) {
  switch (character) {
    case '"':
    case '\\':
      return character;
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    case '\f':
      return 'f';
    case '\b':
      return 'b';
    default:
      return 0;
  }
}

/// Characters that are escaped or may begin one that is.
constexpr std::array<bool, 256> kSpecial = [] {
  std::array<bool, 256> special{};
  std::fill_n(special.begin(), 0x20, true);
  special['"'] = special['\\'] = special[0xED] = true;
  return special;
}();

bool is_surrogate(std::string_view text, std::size_t position) {
  return static_cast<unsigned char>(text[position]) == 0xED && position + 2 < text.size() &&
         static_cast<unsigned char>(text[position + 1]) >= 0xA0;
}

/// What stands before an element (or the closing bracket) at `depth`.
void begin_line(std::string& output, int depth) {
  if (depth < 0) return;
  output += '\n';
  output.append(2 * static_cast<std::size_t>(depth), ' ');
}

/// `write(index)` for each of `size` elements between brackets.
template <class Write>
void append_elements(std::string& output, std::size_t size, std::string_view brackets, int depth,
                     Write write) {
  output += brackets.front();
  for (std::size_t index = 0; index < size; ++index) {
    if (index > 0) output += depth < 0 ? ", " : ",";
    begin_line(output, depth < 0 ? depth : depth + 1);
    write(index);
  }
  if (size > 0) begin_line(output, depth);
  output += brackets.back();
}

void append_array(std::string& output, const Json::Array& array, int depth) {
  append_elements(output, array.size(), "[]", depth, [&](std::size_t index) {
    append_json(output, array[index], depth < 0 ? depth : depth + 1);
  });
}

void append_map(std::string& output, const Json::Map& map, int depth) {
  append_elements(output, map.size(), "{}", depth, [&](std::size_t index) {
    append_json(output, std::string_view(map[index].first));
    output += ": ";
    append_json(output, map[index].second, depth < 0 ? depth : depth + 1);
  });
}

}  // namespace

void append_json(std::string& output, std::string_view text) {
  output += '"';
  std::size_t begin = 0;
  for (std::size_t position = 0; position < text.size(); ++position) {
    const char character = text[position];
    if (!kSpecial[static_cast<unsigned char>(character)]) continue;
    output.append(text, begin, position - begin);
    begin = position;
    if (const char letter = short_escape(character); letter != 0) {
      output += '\\';
      output += letter;
    } else if (static_cast<unsigned char>(character) < 0x20) {
      append_unit(output, static_cast<unsigned char>(character));
    } else if (is_surrogate(text, position)) {
      append_unit(output, next_code_point(text, position));
      --position;
    } else {
      continue;  // stands in the next piece
    }
    begin = position + 1;
  }
  output.append(text, begin);
  output += '"';
}

void append_json(std::string& output, double number) {
  if (std::isnan(number)) {
    output += "NaN";
  } else if (std::isinf(number)) {
    output += number < 0 ? "-Infinity" : "Infinity";
  } else {
    output += number_text(number);
  }
}

void append_json(std::string& output, const Json& json, int depth) {
  if (const auto* text = json.text()) return append_json(output, std::string_view(*text));
  if (const auto* number = json.real()) return append_json(output, *number);
  if (const auto* array = json.array()) return append_array(output, *array, depth);
  if (const auto* map = json.map()) return append_map(output, *map, depth);
  if (const auto* boolean = json.boolean()) {
    output += *boolean ? "true" : "false";
  } else if (const auto* integer = json.integer()) {
    output += std::to_string(*integer);
  } else if (const auto* big = json.big_integer()) {
    output += big->digits;
  } else {
    output += "null";
  }
}

std::string json_line(const Json& json) {
  std::string line;
  append_json(line, json, kOneLine);
  return line;
}

}  // namespace kavel::foundation
