// The errors of the core. The host maps each kind once to the interpreter's exception classes;
// errors that the interpreter raises cross the core untouched.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace kavel::foundation {

enum class ErrorKind {
  // Errors of the interface, each with a fixed message.
  wrong_attribute_name,
  private_attribute_name,
  attribute_name_repeat,
  parameter_input_type,
  access_queue_timeout,
  identifier_missmatch,
  no_feedback_email,
  validation_error,
  // Errors that the interpreter has a class for.
  assertion,
  type,
  value,
  key,
  index,
  not_implemented,
  file_not_found,
  operating_system,
  invalid_json,
  recursion,
};

/// One row for each error that the interface names.
struct NamedError {
  ErrorKind kind;
  const char* name;
  const char* message;
  /// Whether an attribute name may be given, which then ends the message.
  bool takes_name;
};

inline constexpr NamedError kNamedErrors[] = {
    {ErrorKind::wrong_attribute_name, "WrongAttributeName", "Wrong Name for Attribute", true},
    {ErrorKind::private_attribute_name, "PrivateAttributeName", "Used Private Name for Attribute",
     true},
    {ErrorKind::attribute_name_repeat, "AttributeNameRepeat", "Attribute Name Repeat", false},
    {ErrorKind::parameter_input_type, "ParameterInputType",
     "Used Wrong Class Type in Parameter Block", false},
    {ErrorKind::access_queue_timeout, "AccessQueueTimeout", "Await Time for File Access is Out",
     false},
    {ErrorKind::identifier_missmatch, "IdentifierMissmatch", "Identifier Missmatch", false},
    {ErrorKind::no_feedback_email, "NoFeedbackEmail", "Lost Email to Send Feedback Message", false},
    {ErrorKind::validation_error, "ValidationError", "Check Task Found Issue", false},
};

class Error : public std::runtime_error {
 public:
  Error(ErrorKind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}
  /// An error of the interface with its fixed message.
  explicit Error(ErrorKind kind);
  /// An error of the interface about an attribute of that name, which ends the message.
  [[nodiscard]] static Error about(ErrorKind kind, const std::string& name);

  [[nodiscard]] ErrorKind kind() const noexcept { return kind_; }
  /// The attribute's name, if one was given.
  [[nodiscard]] const std::optional<std::string>& name() const noexcept { return name_; }

 private:
  ErrorKind kind_;
  std::optional<std::string> name_;
};

/// Throws an assertion failure with `message` unless `holds`.
void assert_that(bool holds, const std::string& message);

/// The error that an action not yet offered by this version raises.
[[nodiscard]] Error not_implemented(const std::string& action);

}  // namespace kavel::foundation
