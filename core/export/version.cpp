#include "core/export/version.h"

#include <algorithm>

namespace kavel::exporting {

Version::Version(std::string_view digits)
    : digits_(digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1))) {}

Version Version::next() const {
  Version result = *this;
  std::string& digits = result.digits_;
  const std::size_t last = digits.find_last_not_of('9');
  const bool is_longer = last == std::string::npos;
  std::fill(digits.begin() + (is_longer ? 0 : static_cast<std::ptrdiff_t>(last) + 1), digits.end(),
            '0');
  if (is_longer) {
    digits.insert(digits.begin(), '1');
  } else {
    ++digits[last];
  }
  return result;
}

std::string Version::text() const { return digits_.size() < 2 ? "0" + digits_ : digits_; }

std::strong_ordering operator<=>(const Version& left, const Version& right) noexcept {
  const auto by_length = left.digits_.size() <=> right.digits_.size();
  return by_length != 0 ? by_length : left.digits_ <=> right.digits_;
}

}  // namespace kavel::exporting
