// Texts as the interpreter's own tables of characters have them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kavel::runtime {

class Unicode {
 public:
  virtual ~Unicode() = default;
  [[nodiscard]] virtual std::string lower(std::string_view text) = 0;
  [[nodiscard]] virtual std::string upper(std::string_view text) = 0;
  /// Without the white space at both ends.
  [[nodiscard]] virtual std::string strip(std::string_view text) = 0;
  /// The first letter of each run of letters in upper case, the others in lower case.
  [[nodiscard]] virtual std::string title(std::string_view text) = 0;
  /// The real number that the text stands for, in the digits of any script; nothing for none.
  [[nodiscard]] virtual std::optional<double> real_number(std::string_view text) = 0;
  /// The whole number of any size that the text stands for, in ASCII digits without zeros in front;
  /// nothing for none.
  [[nodiscard]] virtual std::optional<std::string> whole_number(std::string_view text) = 0;
};

}  // namespace kavel::runtime
