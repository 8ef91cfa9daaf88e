#include "core/hierarchy/anchor.h"

#include <algorithm>

#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::hierarchy {
namespace {

using foundation::contains;

/// Splits leading global flags such as "(?i)" off: they must stay at the start of an expression.
std::pair<std::string_view, std::string_view> split_flags(std::string_view expression) {
  if (!expression.starts_with("(?")) return {"", expression};
  const std::size_t end = expression.find_first_not_of("aiLmsux", 2);
  if (end == 2 || end == std::string_view::npos || expression[end] != ')') return {"", expression};
  return {expression.substr(0, end + 1), expression.substr(end + 1)};
}

std::string apply_one(std::string expression, const std::string& anchor, const std::string& part) {
  if (!contains(expression, anchor)) return expression;
  const std::string merged = merge_ends(anchor, merge_begins(anchor, part, expression), expression);
  return foundation::replace_all(expression, anchor, merged);
}

bool uses_any(const AnchorState::Keys& keys, std::string_view expression) {
  return std::ranges::any_of(
      keys, [&](const AnchorKey& key) { return contains(expression, key.parts.usage); });
}

bool same_keys(const AnchorState::Keys& left, const AnchorState::Keys& right) {
  return std::ranges::equal(left, right, {}, &AnchorKey::definition, &AnchorKey::definition);
}

}  // namespace

Vocabulary::Vocabulary(AnchorState::Keys keys)
    : keys_(std::make_shared<const AnchorState::Keys>(std::move(keys))) {}

std::string Vocabulary::apply_anchors(std::string expression) const {
  for (const AnchorKey& key : *keys_) {
    expression = apply_one(std::move(expression), key.definition, key.parts.expression);
    expression = apply_one(std::move(expression), key.parts.usage, key.parts.expression);
  }
  return expression;
}

std::shared_ptr<const runtime::Expression> Vocabulary::compile(const std::string& text) {
  if (const auto known = compiled_.find(text); known != compiled_.end()) return known->second;
  auto made = runtime::services().regex->compile(text);
  return compiled_.emplace(text, std::move(made)).first->second;
}

std::shared_ptr<Vocabulary::Prepared> Vocabulary::find(const std::string& expression) const {
  const auto known = prepared_.find(expression);
  return known == prepared_.end() ? nullptr : known->second;
}

std::shared_ptr<Vocabulary::Prepared> Vocabulary::prepare(const std::string& expression) {
  if (auto known = find(expression)) return known;
  auto made = std::make_shared<Prepared>();
  made->expression = compile(apply_anchors(expression));
  for (std::uint32_t key = 0; key < keys_->size(); ++key) {
    if (contains(expression, (*keys_)[key].definition)) made->defined.push_back(key);
  }
  return prepared_.emplace(expression, std::move(made)).first->second;
}

void Vocabulary::prepare_definitions(const std::string& expression, Prepared& prepared) {
  if (prepared.definitions_ready) return;
  std::vector<Definition> definitions;
  for (const std::uint32_t key : prepared.defined) {
    const auto [before, after] = split_at_anchor((*keys_)[key].definition, expression);
    const std::string head = apply_anchors(std::string(before));
    const auto [flags, rest] = split_flags(head);
    definitions.push_back({key, compile(std::string(flags) + "^" + std::string(rest)),
                           compile(std::string(flags) + apply_anchors(std::string(after)) + "$")});
  }
  prepared.definitions = std::move(definitions);
  prepared.definitions_ready = true;
}

Anchor::Anchor()
    : state_(runtime::make<AnchorState>()),
      vocabulary_(std::make_shared<Vocabulary>(AnchorState::Keys())) {}

std::shared_ptr<Vocabulary> Anchor::vocabulary(const AnchorState::Keys& keys) {
  if (!same_keys(*vocabulary_->keys(), keys)) vocabulary_ = std::make_shared<Vocabulary>(keys);
  return vocabulary_;
}

std::string replace_anchors(const AnchorState& state, std::string_view expression,
                            std::string_view path) {
  std::string result(expression);
  const AnchorState::Keys& keys = *state.keys();
  for (std::uint32_t key = 0; key < keys.size(); ++key) {
    if (!contains(result, keys[key].parts.usage)) continue;
    if (const std::string* text = state.decide(key, path)) {
      result = foundation::replace_all(result, keys[key].parts.usage, *text);
    }
  }
  return result;
}

std::string Anchor::replace_anchors(std::string_view expression, std::string_view path) const {
  return hierarchy::replace_anchors(*state_, expression, path);
}

std::string Anchor::apply_anchors(std::string_view expression) {
  return vocabulary(*state_)->apply_anchors(std::string(expression));
}

bool Anchor::match(std::string_view expression, std::string_view name, std::string_view path) {
  const auto words = vocabulary(*state_);
  return RuleMatcher(*words, *state_, expression).match(name, path);
}

void Anchor::extract_anchors(std::string_view expression, std::string_view name,
                             std::string_view path) {
  const auto words = vocabulary(*state_);
  Vocabulary::Prepared prepared;
  for (std::uint32_t key = 0; key < words->keys()->size(); ++key) {
    if (contains(expression, (*words->keys())[key].definition)) prepared.defined.push_back(key);
  }
  words->prepare_definitions(std::string(expression), prepared);
  for (const auto& [key, before, after] : prepared.definitions) {
    state_->add(key, path, after->remove_first(before->remove_start(name)));
  }
}

bool Anchor::has_anchor(std::string_view expression) const {
  return std::ranges::any_of(
      *state_->keys(), [&](const AnchorKey& key) { return contains(expression, key.definition); });
}

bool Anchor::has_sub_anchor(std::string_view expression) const {
  return uses_any(*state_->keys(), expression);
}

RuleMatcher::RuleMatcher(Vocabulary& vocabulary, AnchorState& state, std::string_view expression)
    : vocabulary_(vocabulary),
      state_(state),
      expression_(expression),
      uses_anchors_(uses_any(*vocabulary.keys(), expression)) {}

bool RuleMatcher::match(std::string_view name, std::string_view path) {
  if (uses_anchors_) {
    const std::string bound = replace_anchors(state_, expression_, path);
    if (bound != expression_) return match_text(bound, vocabulary_.find(bound), name, path);
  }
  if (plain_ == nullptr) plain_ = vocabulary_.find(expression_);
  return match_text(expression_, plain_, name, path);
}

bool RuleMatcher::match_text(const std::string& expression,
                             std::shared_ptr<Vocabulary::Prepared> prepared, std::string_view name,
                             std::string_view path) {
  if (prepared != nullptr && prepared->defined.empty()) return prepared->expression->match(name);
  // Compiling runs the interpreter's own code, and with it perhaps another thread that lets the
  // table behind these views grow.
  const std::string own_name(name);
  const std::string own_path(path);
  if (prepared == nullptr) prepared = vocabulary_.prepare(expression);
  if (!prepared->expression->match(own_name)) return false;
  vocabulary_.prepare_definitions(expression, *prepared);
  // Every capture is cut before the first is recorded: a failing one leaves nothing behind.
  std::vector<std::pair<std::uint32_t, std::string>> captured;
  for (const auto& [key, before, after] : prepared->definitions) {
    captured.emplace_back(key, after->remove_first(before->remove_start(own_name)));
  }
  for (auto& [key, text] : captured) state_.add(key, own_path, std::move(text));
  return true;
}

}  // namespace kavel::hierarchy
