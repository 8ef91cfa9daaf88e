// JSON as the interpreter reads and writes it, and the way between its values and `Json`.
#pragma once

#include <string>
#include <string_view>

#include "core/foundation/json.h"
#include "core/runtime/value.h"

namespace kavel::runtime {

class JsonText {
 public:
  virtual ~JsonText() = default;
  /// Parses `text`; throws an error of the kind `invalid_json` for what is no JSON and the
  /// interpreter's own error for what is too deep.
  [[nodiscard]] virtual Value parse(std::string_view text) = 0;
  /// Text of `value`; `indent` of 0 means one line. Non-ASCII characters stay as they are.
  [[nodiscard]] virtual std::string dump(const Value& value, int indent) = 0;
  /// Parses the content of a file: UTF-8, a byte-order mark is skipped. Throws the interpreter's
  /// own errors: a value error for what is no JSON or no UTF-8, a recursion error for what is too
  /// deep.
  [[nodiscard]] virtual Value parse_file(std::string_view content) = 0;
  /// The content of a file for `value`: UTF-8, indented by 2. A lone surrogate, which UTF-8 has no
  /// form for, is written as its JSON escape and so reads back equal.
  [[nodiscard]] virtual std::string dump_file(const Value& value) = 0;
  /// Turns unified texts into plain ones, in place throughout nested maps and lists; returns
  /// `value` itself, or the plain form of a bare text.
  [[nodiscard]] virtual Value clean(const Value& value) = 0;
  /// A copy in the core's own form. Throws a type error for values that JSON has no form for.
  [[nodiscard]] virtual foundation::Json to_json(const Value& value) = 0;
  [[nodiscard]] virtual Value from_json(const foundation::Json& json) = 0;
  /// Replaces the content of the map `target` by that of `content`, keeping the object.
  virtual void refill(const Value& target, const foundation::Json& content) = 0;
};

}  // namespace kavel::runtime
