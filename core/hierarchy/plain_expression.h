// An expression as the interpreter reads it, asked through its automaton where it has one.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "core/hierarchy/automaton.h"
#include "core/runtime/regex.h"

namespace kavel::hierarchy {

/// Compiled by the interpreter when the automaton has no answer for the first time; at once when
/// there is no automaton. Then the constructor throws for a text that does not compile.
class PlainExpression {
 public:
  explicit PlainExpression(std::string text);
  /// With captured texts: the groups 1 to `texts` of `text` stand before its last group, which is
  /// the expression that they are used in. `compiled` is what the interpreter compiles instead.
  PlainExpression(const std::string& text, std::size_t texts, std::string compiled);

  /// See `runtime::Expression`.
  [[nodiscard]] bool match(std::string_view name) const;
  [[nodiscard]] std::string remove_start(std::string_view name) const;
  [[nodiscard]] std::string remove_first(std::string_view name) const;

  /// Null when there is none.
  [[nodiscard]] NameAutomaton* automaton() const noexcept { return automaton_.get(); }
  /// The interpreter's own. Compiling may run foreign code.
  [[nodiscard]] const runtime::Expression& law() const;

 private:
  std::string text_;
  std::shared_ptr<NameAutomaton> automaton_;
  mutable std::shared_ptr<const runtime::Expression> law_;
};

}  // namespace kavel::hierarchy
