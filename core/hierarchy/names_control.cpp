#include "core/hierarchy/names_control.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

#include "core/foundation/text.h"

namespace kavel::hierarchy {
namespace {

/// Longer runs of digits are part of the name, not a count.
constexpr std::size_t kMaximumDigits = 9;

/// The stem and the number behind its last blank; 0 when there is none.
std::pair<std::string_view, std::int64_t> split_number(std::string_view name) {
  const std::size_t blank = name.rfind(' ');
  if (blank == std::string_view::npos) return {name, 0};
  const std::string_view digits = name.substr(blank + 1);
  if (digits.empty() || digits.size() > kMaximumDigits) return {name, 0};
  std::int64_t number = 0;
  for (const char digit : digits) {
    if (digit < '0' || digit > '9') return {name, 0};
    number = number * 10 + (digit - '0');
  }
  return {name.substr(0, blank), number};
}

}  // namespace

void NamesControl::rename(const std::string& removed, const std::string& appended) {
  remove(removed);
  append(appended);
}

std::string NamesControl::get_init(const std::string& name) const {
  return exists(name) ? get_next(name) : name;
}

std::string NamesControl::get_next(const std::string& name) const {
  const std::string stem(split_number(name).first);
  std::int64_t number = 0;
  for (const std::string& alike : get_alike(stem)) {
    const auto [other_stem, other_number] = split_number(alike);
    if (other_stem == stem) number = std::max(number, other_number);
  }
  std::string variant;
  // Numbers with leading zeros can leave the next one taken.
  do variant = stem + " " + std::to_string(++number);
  while (exists(variant));
  return variant;
}

std::vector<std::string> NamesControl::get_alike(const std::string& name) const {
  std::vector<std::string> alike;
  std::ranges::copy_if(names_, std::back_inserter(alike), [&](const std::string& other) {
    return foundation::contains(other, name) || foundation::contains(name, other);
  });
  return alike;
}

}  // namespace kavel::hierarchy
