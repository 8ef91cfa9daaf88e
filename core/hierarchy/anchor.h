// Anchor logic: turns an expression with anchors into a plain one for an object's place in the
// scene, matches the object's name, and records what the anchors captured.
//
// Every distinct text is prepared once: the plain expression is compiled, and the parts around a
// definition when the first capture needs them. Prepared texts depend on the anchor keys only and
// live as long as a vocabulary of keys is in use.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/hierarchy/anchor_state.h"
#include "core/hierarchy/bound_expression.h"
#include "core/hierarchy/plain_expression.h"

namespace kavel::hierarchy {

/// A compiled expression, with or without references to captured texts.
class NameExpression {
 public:
  using Plain = std::shared_ptr<const PlainExpression>;
  /// Where a plain expression is looked for.
  enum class Place { start, anywhere };
  explicit NameExpression(Plain plain, Place place) : plain_(std::move(plain)), place_(place) {}
  explicit NameExpression(std::shared_ptr<const BoundExpression> bound)
      : bound_(std::move(bound)) {}

  [[nodiscard]] bool match(CapturedTexts texts, std::string_view name) const;
  /// `name` without what matches at the expression's place.
  [[nodiscard]] std::string remove(CapturedTexts texts, std::string_view name) const;

 private:
  Plain plain_;
  std::shared_ptr<const BoundExpression> bound_;
  Place place_ = Place::start;
};

/// Compiled expressions of one set of anchor keys.
class Vocabulary {
 public:
  explicit Vocabulary(AnchorState::Keys keys);

  [[nodiscard]] const std::shared_ptr<const AnchorState::Keys>& keys() const noexcept {
    return keys_;
  }

  /// The parts of an expression around a definition, ready to cut a capture out of a name.
  struct Definition {
    std::uint32_t key;
    NameExpression before;
    NameExpression after;
  };
  /// A rule expression for one choice of captured usages.
  struct Prepared {
    std::string text;
    std::vector<std::string> usages;
    NameExpression expression;
    std::vector<std::uint32_t> defined;
    /// Compiled when the first capture needs them, and never replaced.
    std::shared_ptr<const std::vector<Definition>> definitions;
  };
  /// `usages` become references to captured texts, in that order; null when captured texts have to
  /// be inserted. Throws the interpreter's error for an expression that does not compile and a
  /// value error for a definition that stands in it twice.
  [[nodiscard]] std::shared_ptr<Prepared> prepare(const std::string& expression,
                                                  const std::vector<std::string>& usages = {});
  /// The same for an expression in which captured texts were inserted. There is one for each
  /// captured text, so only some are kept.
  [[nodiscard]] std::shared_ptr<Prepared> prepare_inserted(const std::string& expression);
  /// What a definition captured of a name.
  struct Cut {
    std::uint32_t key;
    std::string text;
  };
  /// What the definitions in the expression capture of `name`. May run foreign code.
  void cut(Prepared& prepared, CapturedTexts texts, std::string_view name, std::vector<Cut>& found);

  /// `expression` with the remaining anchors replaced by their sub-expressions.
  [[nodiscard]] std::string apply_anchors(std::string expression) const;

 private:
  /// Whether references may stand for `usages` in the expression with its other anchors applied,
  /// and in the parts around its definitions.
  [[nodiscard]] bool can_bind(const std::string& expression,
                              const std::vector<std::string>& usages) const;
  [[nodiscard]] NameExpression::Plain compile(const std::string& text);
  [[nodiscard]] NameExpression part(std::string_view outer_flags, std::string_view text,
                                    const std::vector<std::string>& usages,
                                    NameExpression::Place place);
  [[nodiscard]] std::shared_ptr<const std::vector<Definition>> definitions(
      const Prepared& prepared);

  std::shared_ptr<const AnchorState::Keys> keys_;
  std::unordered_map<std::string, std::shared_ptr<Prepared>> prepared_;
  std::unordered_map<std::string, NameExpression::Plain> compiled_;
  /// How many of them had captured texts inserted.
  std::size_t inserted_ = 0;
};

class Anchor final : public runtime::Object {
 public:
  Anchor();

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(state_); }

  [[nodiscard]] const runtime::Ref<AnchorState>& state() const noexcept { return state_; }
  /// The vocabulary of these keys; the one in use when they are the same.
  [[nodiscard]] std::shared_ptr<Vocabulary> vocabulary(const AnchorState::Keys& keys);
  /// The vocabulary of the keys of `state`.
  [[nodiscard]] std::shared_ptr<Vocabulary> vocabulary(const AnchorState& state) {
    return vocabulary(*state.keys());
  }

  [[nodiscard]] std::string replace_anchors(std::string_view expression,
                                            std::string_view path) const;
  [[nodiscard]] std::string apply_anchors(std::string_view expression);
  /// Whether `name` matches; captures are recorded when it does and nothing changes otherwise.
  [[nodiscard]] bool match(std::string_view expression, std::string_view name,
                           std::string_view path);
  void extract_anchors(std::string_view expression, std::string_view name, std::string_view path);
  [[nodiscard]] bool has_anchor(std::string_view expression) const;
  [[nodiscard]] bool has_sub_anchor(std::string_view expression) const;

 private:
  runtime::Ref<AnchorState> state_;
  std::shared_ptr<Vocabulary> vocabulary_;
};

/// Matches names against one rule expression, with the look-ups that do not depend on the object
/// done once. Works on the given state only; valid while state and vocabulary live.
class RuleMatcher {
 public:
  RuleMatcher(Vocabulary& vocabulary, AnchorState& state, std::string_view expression);

  /// Whether `name` matches; captures are appended to the state when it does.
  [[nodiscard]] bool match(std::string_view name, std::string_view path);

 private:
  using PreparedPointer = std::shared_ptr<Vocabulary::Prepared>;
  /// A key whose usage stands in the expression; keys of one usage share its number.
  struct Used {
    std::uint32_t key;
    std::uint32_t usage;
  };

  void find_bound(std::string_view path);
  [[nodiscard]] bool match_bound(std::string_view name, std::string_view path);
  [[nodiscard]] bool match_inserted(std::string_view name, std::string_view path);
  [[nodiscard]] bool match_prepared(const PreparedPointer& prepared, CapturedTexts texts,
                                    std::string_view name, std::string_view path);
  void keep(std::string_view name, std::string_view path);
  [[nodiscard]] CapturedTexts keep(CapturedTexts texts);

  Vocabulary* vocabulary_;
  AnchorState* state_;
  std::string expression_;
  std::vector<Used> used_;
  std::vector<std::string> usages_;
  /// The usages captured on the branch in question, by number, with their texts.
  std::vector<std::uint32_t> bound_usages_;
  std::vector<std::string_view> bound_texts_;
  /// The expression without captured texts, once it was needed.
  PreparedPointer plain_;
  /// The expression for the usages that were captured last, null when they cannot be bound.
  PreparedPointer bound_;
  std::vector<std::uint32_t> bound_for_;
  // Copies: compiling runs the interpreter's own code, and with it perhaps another thread that
  // lets the tables behind the views grow. Members, so that they are not allocated for each name.
  std::string name_;
  std::string path_;
  std::string texts_;
  std::vector<std::string_view> text_views_;
  std::vector<Vocabulary::Cut> cuts_;
};

/// `expression` with each usage replaced by the text that decides for `path`.
[[nodiscard]] std::string replace_anchors(const AnchorState& state, std::string_view expression,
                                          std::string_view path);

}  // namespace kavel::hierarchy
