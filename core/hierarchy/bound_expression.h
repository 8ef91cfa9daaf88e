// Expressions with captured texts in them, compiled once for all captured texts.
//
// A usage that was captured stands for the captured text itself. Inserting the text would give a
// new expression, and a new compilation, for each branch of a scene. Instead the captured texts are
// put in front of the name, each ended by a zero character, and the usages become references back
// to them: one compiled expression serves every branch. This is the same only for plain texts in
// plain surroundings, which `is_plain_text` and `can_bind` decide; all else is inserted.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/hierarchy/plain_expression.h"

namespace kavel::hierarchy {

/// Texts that usages were captured as, in the order of the usages.
using CapturedTexts = NameAutomaton::Texts;

/// Whether `text` is not empty and has no character with a meaning in expressions.
[[nodiscard]] bool is_plain_text(std::string_view text) noexcept;

/// Whether every `usage` in `expression` stands where inserting a plain text and referring back to
/// it mean the same. Other anchors in `expression` are taken as they stand.
[[nodiscard]] bool can_bind(std::string_view expression, const std::vector<std::string>& usages);

/// `expression` with the usages turned into references, in the order of `usages`.
[[nodiscard]] std::string refer_back(std::string expression,
                                     const std::vector<std::string>& usages);

/// `references` with the usages where `refer_back` put references.
[[nodiscard]] std::string restore_usages(std::string references,
                                         const std::vector<std::string>& usages);

/// One expression with references to `count` captured texts, which precede the subject.
class BoundExpression {
 public:
  enum class Use {
    /// Match from the start of the subject.
    match,
    /// Find the first place in the subject.
    find,
  };
  /// `references` is what `refer_back` made, with no anchors left in it.
  BoundExpression(const std::string& references, std::size_t count, Use use);

  /// `texts` are the captured texts. All texts are read before any foreign code runs.
  [[nodiscard]] bool match(CapturedTexts texts, std::string_view subject) const;
  /// `subject` without what matches.
  [[nodiscard]] std::string remove(CapturedTexts texts, std::string_view subject) const;

 private:
  Use use_;
  PlainExpression expression_;
};

}  // namespace kavel::hierarchy
