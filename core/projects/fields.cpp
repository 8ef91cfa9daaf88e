#include "core/projects/fields.h"

namespace kavel::projects {
namespace {

using foundation::Error;
using foundation::ErrorKind;
using foundation::Json;

/// The value of `key`; null when it is missing or null.
const Json* present(const Json& data, std::string_view key) {
  const Json* value = data.find(key);
  return value == nullptr || value->is_null() ? nullptr : value;
}

Error wrong_type(std::string_view field, const char* expected) {
  return {ErrorKind::assertion, "\"" + std::string(field) + "\" must be " + expected};
}

}  // namespace

const std::string& require_text(const Json& value, std::string_view field) {
  if (value.text() == nullptr) throw wrong_type(field, "a text");
  return *value.text();
}

std::int64_t require_integer(const Json& value, std::string_view field, ErrorKind kind) {
  const std::int64_t* integer = value.integer();
  if (integer == nullptr || *integer > kLargestInteger || *integer < -kLargestInteger) {
    throw Error(kind, "\"" + std::string(field) + "\" must be a whole number");
  }
  return *integer;
}

std::string text_field(const Json& data, std::string_view key, std::string_view fallback) {
  const Json* value = present(data, key);
  return value == nullptr ? std::string(fallback) : require_text(*value, key);
}

std::optional<std::string> optional_text_field(const Json& data, std::string_view key) {
  const Json* value = present(data, key);
  if (value == nullptr) return std::nullopt;
  return require_text(*value, key);
}

bool boolean_field(const Json& data, std::string_view key, bool fallback) {
  const Json* value = present(data, key);
  if (value == nullptr) return fallback;
  if (value->boolean() == nullptr) throw wrong_type(key, "true or false");
  return *value->boolean();
}

Json::Array array_field(const Json& data, std::string_view key) {
  const Json* value = present(data, key);
  if (value == nullptr) return {};
  if (value->array() == nullptr) throw wrong_type(key, "a list");
  return *value->array();
}

Json map_field(const Json& data, std::string_view key) {
  const Json* value = present(data, key);
  if (value == nullptr) return Json::Map();
  if (value->map() == nullptr) throw wrong_type(key, "an object");
  return *value;
}

void require_map(const Json& data, std::string_view what) {
  if (data.map() == nullptr) {
    throw Error(ErrorKind::type, std::string(what) + " is read from an object");
  }
}

}  // namespace kavel::projects
