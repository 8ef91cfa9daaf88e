#include "core/foundation/errors.h"

#include <algorithm>
#include <iterator>

namespace kavel::foundation {
namespace {

const char* fixed_message(ErrorKind kind) {
  const auto* found = std::ranges::find(kNamedErrors, kind, &NamedError::kind);
  return found == std::end(kNamedErrors) ? "" : found->message;
}

}  // namespace

Error::Error(ErrorKind kind) : Error(kind, fixed_message(kind)) {}

Error Error::about(ErrorKind kind, const std::string& name) {
  Error error(kind, std::string(fixed_message(kind)) + " - \"" + name + "\"");
  error.name_ = name;
  return error;
}

void assert_that(bool holds, const std::string& message) {
  if (!holds) throw Error(ErrorKind::assertion, message);
}

Error not_implemented(const std::string& action) {
  return {ErrorKind::not_implemented, action + " is not implemented in this version"};
}

}  // namespace kavel::foundation
