// Version numbers of exported files.
#pragma once

#include <compare>
#include <string>
#include <string_view>

namespace kavel::exporting {

/// A whole number without bounds, as files may bear any.
class Version {
 public:
  /// Version 1.
  Version() = default;
  /// From ASCII digits, at least one; zeros in front do not count.
  explicit Version(std::string_view digits);

  [[nodiscard]] Version next() const;
  /// At least two digits: "01", "12", "100".
  [[nodiscard]] std::string text() const;

  friend std::strong_ordering operator<=>(const Version& left, const Version& right) noexcept;
  friend bool operator==(const Version& left, const Version& right) = default;

 private:
  /// Without zeros in front, but for zero itself.
  std::string digits_ = "1";
};

}  // namespace kavel::exporting
