// Validity tests for objects that come from outside the core.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kavel::foundation {

/// What a foreign object answers, as far as the tests look.
enum class Answer {
  missing,
  empty_text,
  text,
  finite_number,
  parameter_block,
  other,
};

/// A foreign object, asked by name. Its own exceptions come through.
class Probe {
 public:
  virtual ~Probe() = default;
  [[nodiscard]] virtual Answer attribute(const std::string& name) = 0;
  /// Calls the attribute, with one text if there is one; `missing` when there is no attribute.
  [[nodiscard]] virtual Answer call(const std::string& name,
                                    const std::optional<std::string>& argument) = 0;
};

/// Whether a host's environment names its files and folders and converts paths. An exception of
/// the environment is logged and counts as no.
[[nodiscard]] bool is_valid_environment(Probe& environment);

/// What keeps a check class from being used.
struct CheckFault {
  std::string reason;
  /// Of the exception that the class raised, if it did.
  std::string traceback;
};

/// Nothing for a class that has an identity, its texts, its place among the others and a parameter
/// block. An exception of the class is logged and is its fault, as is an attempt to leave the
/// program.
[[nodiscard]] std::optional<CheckFault> find_check_fault(Probe& check_class);
[[nodiscard]] inline bool is_valid_check(Probe& check_class) {
  return !find_check_fault(check_class);
}

/// Whether a text has the form of an attribute name: word characters, no digit first.
[[nodiscard]] bool is_attribute_name(std::string_view name) noexcept;
/// Whether it starts with two underscores that are followed by something.
[[nodiscard]] bool is_private_name(std::string_view name) noexcept;

/// Throws the wrong-attribute-name error unless `name` can name an attribute, and the private-name
/// error when it is private.
void assert_attribute_name(const std::string& name);

}  // namespace kavel::foundation
