#include "core/foundation/json.h"

#include <algorithm>

namespace kavel::foundation {
namespace {

const Json* find_in(const Json::Map& map, std::string_view key) noexcept {
  const auto found = std::ranges::find(map, key, &std::pair<std::string, Json>::first);
  return found == map.end() ? nullptr : &found->second;
}

bool equal_maps(const Json::Map& left, const Json::Map& right) {
  if (left.size() != right.size()) return false;
  for (std::size_t index = 0; index < left.size(); ++index) {
    // The same order is the common case; only otherwise is the key looked for.
    const Json* other = right[index].first == left[index].first ? &right[index].second
                                                                : find_in(right, left[index].first);
    if (other == nullptr || !(left[index].second == *other)) return false;
  }
  return true;
}

/// Booleans count as the numbers 0 and 1, as they do in the interpreter.
std::optional<double> comparable(const Json& json) noexcept {
  if (const bool* value = json.boolean()) return *value ? 1.0 : 0.0;
  return json.number();
}

}  // namespace

std::optional<double> Json::number() const noexcept {
  if (const auto* value = integer()) return static_cast<double>(*value);
  if (const auto* value = real()) return *value;
  return std::nullopt;
}

const Json* Json::find(std::string_view key) const noexcept {
  const Map* entries = map();
  return entries == nullptr ? nullptr : find_in(*entries, key);
}

Json& Json::set(std::string_view key, Json value) {
  if (is_null()) value_ = Map();
  Map& entries = std::get<Map>(value_);
  const auto found = std::ranges::find(entries, key, &std::pair<std::string, Json>::first);
  if (found != entries.end()) {
    found->second = std::move(value);
  } else {
    entries.emplace_back(std::string(key), std::move(value));
  }
  return *this;
}

std::string Json::text_or(std::string_view key, std::string fallback) const {
  const Json* value = find(key);
  if (value != nullptr && value->text() != nullptr) return *value->text();
  return fallback;
}

std::optional<std::string> Json::optional_text(std::string_view key) const {
  const Json* value = find(key);
  if (value == nullptr || value->text() == nullptr) return std::nullopt;
  return *value->text();
}

bool Json::boolean_or(std::string_view key, bool fallback) const {
  const Json* value = find(key);
  return value != nullptr && value->boolean() != nullptr ? *value->boolean() : fallback;
}

bool operator==(const Json& left, const Json& right) {
  if (left.integer() != nullptr && right.integer() != nullptr) {
    return *left.integer() == *right.integer();
  }
  const auto left_number = comparable(left);
  const auto right_number = comparable(right);
  if (left_number || right_number) return left_number == right_number;
  if (left.map() != nullptr && right.map() != nullptr) return equal_maps(*left.map(), *right.map());
  return left.value_ == right.value_;
}

}  // namespace kavel::foundation
