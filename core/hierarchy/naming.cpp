#include "core/hierarchy/naming.h"

#include <algorithm>

#include "core/facade/constants.h"
#include "core/foundation/assertions.h"
#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::hierarchy::naming {
namespace {

struct Replacement {
  char32_t character;
  std::string_view text;
};

// Letters without a row stay as they are, and the filter that follows drops them.
constexpr Replacement kTransliteration[] = {
    {U'а', "a"}, {U'в', "b"},  {U'г', "g"},  {U'д', "d"},  {U'е', "e"},  {U'з', "z"},
    {U'и', "i"}, {U'й', "i"},  {U'к', "k"},  {U'л', "l"},  {U'м', "m"},  {U'н', "n"},
    {U'о', "o"}, {U'п', "p"},  {U'р', "r"},  {U'с', "s"},  {U'т', "t"},  {U'у', "u"},
    {U'ф', "f"}, {U'ц', "ts"}, {U'ч', "ch"}, {U'ш', "sh"}, {U'щ', "sh"}, {U'ы', "y"},
    {U'ь', ""},  {U'я', "ia"}, {U'ё', "io"}, {U'_', " "},  {U'-', "_"},  {U'.', " "},
};

bool is_digit(char character) noexcept { return character >= '0' && character <= '9'; }

bool is_word(char character) noexcept {
  const char lower = static_cast<char>(character | 0x20);
  return (lower >= 'a' && lower <= 'z') || is_digit(character) || character == '_';
}

std::u32string code_points(std::string_view text) {
  std::u32string result;
  for (std::size_t position = 0; position < text.size();) {
    result += foundation::next_code_point(text, position);
  }
  return result;
}

std::string transliterated(std::string_view text) {
  std::string result;
  for (const char32_t character : code_points(text)) {
    const auto* found = std::ranges::find(kTransliteration, character, &Replacement::character);
    if (found == std::end(kTransliteration)) {
      foundation::append_code_point(result, character);
    } else {
      result += found->text;
    }
  }
  return result;
}

}  // namespace

std::string strip(std::string_view name, std::string_view characters) {
  const std::u32string text = code_points(name);
  const std::u32string unwanted = code_points(characters);
  const std::size_t first = text.find_first_not_of(unwanted);
  if (first == std::u32string::npos) return "";
  const std::size_t last = text.find_last_not_of(unwanted);
  std::string result;
  for (std::size_t index = first; index <= last; ++index) {
    foundation::append_code_point(result, text[index]);
  }
  return result;
}

std::string space_filter(std::string_view text) { return strip(text, " "); }

std::string ghost_filter(std::string_view text) {
  return foundation::replace_all(text, facade::type::kGhost, "");
}

std::string character_filter(std::string_view text, std::span<const CharacterRange> ranges) {
  std::string result;
  for (const char32_t character : code_points(text)) {
    const bool kept = std::ranges::any_of(ranges, [&](const CharacterRange& range) {
      return range.first <= character && character <= range.second;
    });
    if (kept) foundation::append_code_point(result, character);
  }
  return result;
}

std::string latin_filter(std::string_view text) { return character_filter(text, kLatin); }
std::string en_ru_filter(std::string_view text) { return character_filter(text, kEnRu); }

std::string approved_name(std::string_view name, std::string_view method) {
  if (method == facade::filter::kLatin) return latin_filter(name);
  if (method == facade::filter::kEnRu) return en_ru_filter(name);
  if (method == facade::filter::kSpace) return space_filter(name);
  if (method == facade::filter::kGhost) return ghost_filter(name);
  return std::string(name);
}

bool is_approved(std::string_view name, std::string_view method) {
  return method == facade::filter::kEmpty ? !name.empty() : approved_name(name, method) == name;
}

std::string force_ascii(std::string_view name, bool title) {
  runtime::Unicode& unicode = *runtime::services().unicode;
  std::string text = transliterated(unicode.strip(unicode.lower(name)));
  if (title) text = unicode.title(text);
  std::ranges::replace(text, ' ', '_');
  std::erase_if(text, [](char character) { return !is_word(character); });
  return text;
}

bool is_private(std::string_view name) noexcept { return foundation::is_private_name(name); }
bool is_attribute(std::string_view name) noexcept { return foundation::is_attribute_name(name); }

}  // namespace kavel::hierarchy::naming
