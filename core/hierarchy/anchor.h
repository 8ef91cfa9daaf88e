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
#include "core/runtime/regex.h"

namespace kavel::hierarchy {

/// Compiled expressions of one set of anchor keys.
class Vocabulary {
 public:
  explicit Vocabulary(AnchorState::Keys keys);

  [[nodiscard]] const std::shared_ptr<const AnchorState::Keys>& keys() const noexcept {
    return keys_;
  }

  /// The part of an expression around a definition, ready to cut a capture out of a name.
  struct Definition {
    std::uint32_t key;
    std::shared_ptr<const runtime::Expression> before;
    std::shared_ptr<const runtime::Expression> after;
  };
  /// An expression whose captured usages are already replaced.
  struct Prepared {
    std::shared_ptr<const runtime::Expression> expression;
    std::vector<std::uint32_t> defined;
    std::vector<Definition> definitions;
    bool definitions_ready = false;
  };
  /// What `prepare` made of `expression` before; null when it never did.
  [[nodiscard]] std::shared_ptr<Prepared> find(const std::string& expression) const;
  /// Throws the interpreter's error for an expression that does not compile and a value error for
  /// a definition that stands in it twice.
  [[nodiscard]] std::shared_ptr<Prepared> prepare(const std::string& expression);
  /// Compiles the parts around the definitions of `expression` (first use only).
  void prepare_definitions(const std::string& expression, Prepared& prepared);

  /// `expression` with the remaining anchors replaced by their sub-expressions.
  [[nodiscard]] std::string apply_anchors(std::string expression) const;

 private:
  [[nodiscard]] std::shared_ptr<const runtime::Expression> compile(const std::string& text);

  std::shared_ptr<const AnchorState::Keys> keys_;
  std::unordered_map<std::string, std::shared_ptr<Prepared>> prepared_;
  std::unordered_map<std::string, std::shared_ptr<const runtime::Expression>> compiled_;
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
  /// `prepared` is null for an expression that was never prepared.
  [[nodiscard]] bool match_text(const std::string& expression,
                                std::shared_ptr<Vocabulary::Prepared> prepared,
                                std::string_view name, std::string_view path);

  Vocabulary& vocabulary_;
  AnchorState& state_;
  std::string expression_;
  /// Whether a usage of some anchor stands in the expression.
  bool uses_anchors_;
  /// The expression as it stands, once it was needed.
  std::shared_ptr<Vocabulary::Prepared> plain_;
};

/// `expression` with each usage replaced by the text that decides for `path`.
[[nodiscard]] std::string replace_anchors(const AnchorState& state, std::string_view expression,
                                          std::string_view path);

}  // namespace kavel::hierarchy
