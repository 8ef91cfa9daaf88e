// JSON values in the core's own form: typed, ordered, compared by content.
//
// Texts are UTF-8 in which a lone surrogate is written as its three bytes, so that every text of
// the interpreter survives the way in and out. Whole numbers beyond 64 bits are kept as digits.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace kavel::foundation {

class Json {
 public:
  using Array = std::vector<Json>;
  /// Keys keep the order of insertion; a key stands once.
  using Map = std::vector<std::pair<std::string, Json>>;
  /// Decimal digits of a whole number that 64 bits do not hold.
  struct BigInteger {
    std::string digits;
    friend bool operator==(const BigInteger&, const BigInteger&) = default;
  };

  Json() noexcept = default;
  Json(std::nullptr_t) noexcept {}
  Json(bool value) : value_(value) {}
  Json(std::int64_t value) : value_(value) {}
  Json(int value) : value_(std::int64_t{value}) {}
  Json(double value) : value_(value) {}
  Json(BigInteger value) : value_(std::move(value)) {}
  Json(std::string value) : value_(std::move(value)) {}
  Json(const char* value) : value_(std::string(value)) {}
  Json(Array value) : value_(std::move(value)) {}
  Json(Map value) : value_(std::move(value)) {}
  Json(std::optional<std::string> value) {
    if (value) value_ = std::move(*value);
  }

  [[nodiscard]] bool is_null() const noexcept {
    return std::holds_alternative<std::monostate>(value_);
  }
  /// The value as one alternative, or null when it is another.
  [[nodiscard]] const bool* boolean() const noexcept { return std::get_if<bool>(&value_); }
  [[nodiscard]] const std::int64_t* integer() const noexcept {
    return std::get_if<std::int64_t>(&value_);
  }
  [[nodiscard]] const double* real() const noexcept { return std::get_if<double>(&value_); }
  [[nodiscard]] const BigInteger* big_integer() const noexcept {
    return std::get_if<BigInteger>(&value_);
  }
  [[nodiscard]] const std::string* text() const noexcept {
    return std::get_if<std::string>(&value_);
  }
  [[nodiscard]] const Array* array() const noexcept { return std::get_if<Array>(&value_); }
  [[nodiscard]] Array* array() noexcept { return std::get_if<Array>(&value_); }
  [[nodiscard]] const Map* map() const noexcept { return std::get_if<Map>(&value_); }
  [[nodiscard]] Map* map() noexcept { return std::get_if<Map>(&value_); }

  /// A whole or real number as a real one; nothing for anything else, Booleans included.
  [[nodiscard]] std::optional<double> number() const noexcept;

  /// The value of `key` in a map; null when this is no map or has no such key.
  [[nodiscard]] const Json* find(std::string_view key) const noexcept;
  /// Sets `key` of a map (an empty value becomes one), keeping the place of a known key.
  Json& set(std::string_view key, Json value);

  /// `find(key)` as a text, a Boolean...; the default when it is missing or of another type.
  [[nodiscard]] std::string text_or(std::string_view key, std::string fallback) const;
  [[nodiscard]] std::optional<std::string> optional_text(std::string_view key) const;
  [[nodiscard]] bool boolean_or(std::string_view key, bool fallback) const;

  /// Equality of content as the interpreter has it: 1, 1.0 and true are equal, the order of keys
  /// does not count, NaN equals nothing.
  friend bool operator==(const Json& left, const Json& right);

 private:
  std::variant<std::monostate, bool, std::int64_t, double, BigInteger, std::string, Array, Map>
      value_;
};

}  // namespace kavel::foundation
