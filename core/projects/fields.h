// Reading the fields of project data: a field of the wrong type is an error that names it, a
// missing one takes its default, and errors carry the place at which they were met.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/foundation/errors.h"
#include "core/foundation/json.h"

namespace kavel::projects {

/// Whole numbers beyond this are not exact in every program that reads a project file.
inline constexpr std::int64_t kLargestInteger = std::int64_t{1} << 53;

/// The text `value`; an assertion failure that names `field` for anything else.
[[nodiscard]] const std::string& require_text(const foundation::Json& value,
                                              std::string_view field);
/// The whole number `value` within +-2^53; an error of `kind` for anything else.
[[nodiscard]] std::int64_t require_integer(const foundation::Json& value, std::string_view field,
                                           foundation::ErrorKind kind);

/// The field `key` of a map; an assertion failure when it is there with another type. A field that
/// is null counts as missing.
[[nodiscard]] std::string text_field(const foundation::Json& data, std::string_view key,
                                     std::string_view fallback = "");
[[nodiscard]] std::optional<std::string> optional_text_field(const foundation::Json& data,
                                                             std::string_view key);
[[nodiscard]] bool boolean_field(const foundation::Json& data, std::string_view key, bool fallback);
[[nodiscard]] foundation::Json::Array array_field(const foundation::Json& data,
                                                  std::string_view key);
/// A map, empty when the field is missing.
[[nodiscard]] foundation::Json map_field(const foundation::Json& data, std::string_view key);

/// Fails with a type error unless `data` is a map.
void require_map(const foundation::Json& data, std::string_view what);

/// Runs `work`; an error of the core leaves it with `place` in front of its message.
template <class Work>
auto at_place(const std::string& place, Work&& work) {
  try {
    return std::forward<Work>(work)();
  } catch (const foundation::Error& error) {
    throw foundation::Error(error.kind(), place + ": " + error.what());
  }
}

}  // namespace kavel::projects
