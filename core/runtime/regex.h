// Regular expressions in the interpreter's dialect.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/runtime/regex_tree.h"

namespace kavel::runtime {

/// One compiled expression.
class Expression {
 public:
  virtual ~Expression() = default;
  /// Whether it matches from the start of `text` (a match need not reach the end).
  [[nodiscard]] virtual bool match(std::string_view text) const = 0;
  /// The first match anywhere; nothing when there is none.
  [[nodiscard]] virtual std::optional<std::string> find(std::string_view text) const = 0;
  /// `text` without what matches at its start; unchanged when nothing does.
  [[nodiscard]] virtual std::string remove_start(std::string_view text) const = 0;
  /// `text` without the first match anywhere; unchanged when there is none.
  [[nodiscard]] virtual std::string remove_first(std::string_view text) const = 0;
  /// `text` without what `group` takes in a match from its start; unchanged without a match.
  [[nodiscard]] virtual std::string remove_group(std::string_view text,
                                                 const char* group) const = 0;
};

class Regex {
 public:
  virtual ~Regex() = default;
  /// Throws the interpreter's own error when `text` does not compile.
  [[nodiscard]] virtual std::shared_ptr<const Expression> compile(const std::string& text) = 0;
  /// An expression that compiles, as the interpreter reads it; nothing when it has other than plain
  /// nodes or flags of its own, or when this interpreter does not show how it reads expressions.
  [[nodiscard]] virtual std::optional<RegexNode> parse(const std::string& text) = 0;
  /// The expression that matches `text` as it stands.
  [[nodiscard]] virtual std::string escape(const std::string& text) = 0;
};

}  // namespace kavel::runtime
