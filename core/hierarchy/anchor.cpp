#include "core/hierarchy/anchor.h"

#include <algorithm>

#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::hierarchy {
namespace {

using foundation::contains;

/// Expressions with inserted texts that are kept for the next use.
constexpr std::size_t kMaximumInserted = 4096;

/// Splits leading global flags such as "(?i)(?s)" off: they must stay at an expression's start.
std::pair<std::string_view, std::string_view> split_flags(std::string_view expression) {
  std::size_t behind = 0;
  while (expression.substr(behind).starts_with("(?")) {
    const std::size_t letters = behind + 2;
    const std::size_t end = expression.find_first_not_of("aiLmsux", letters);
    if (end == letters || end == std::string_view::npos || expression[end] != ')') break;
    behind = end + 1;
  }
  return {expression.substr(0, behind), expression.substr(behind)};
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

NameExpression::Plain Vocabulary::compile(const std::string& text) {
  if (const auto known = compiled_.find(text); known != compiled_.end()) return known->second;
  auto made = std::make_shared<const PlainExpression>(text);
  return compiled_.emplace(text, std::move(made)).first->second;
}

bool Vocabulary::can_bind(const std::string& expression,
                          const std::vector<std::string>& usages) const {
  // Sub-expressions come to stand beside the references, and in the parts around a definition
  // beside less than in the whole.
  const auto is_bindable = [&](std::string_view text) {
    const std::string applied = apply_anchors(refer_back(std::string(text), usages));
    return hierarchy::can_bind(restore_usages(applied, usages), usages);
  };
  if (!hierarchy::can_bind(expression, usages) || !is_bindable(expression)) return false;
  return std::ranges::all_of(*keys_, [&](const AnchorKey& key) {
    if (!contains(expression, key.definition)) return true;
    const auto [before, after] = split_at_anchor(key.definition, expression);
    return is_bindable(before) && is_bindable(after);
  });
}

NameExpression Vocabulary::part(std::string_view outer_flags, std::string_view text,
                                const std::vector<std::string>& usages,
                                NameExpression::Place place) {
  const bool at_start = place == NameExpression::Place::start;
  const auto stands = [&](const std::string& usage) { return contains(text, usage); };
  if (std::ranges::any_of(usages, stands)) {
    std::string references = apply_anchors(refer_back(std::string(text), usages));
    if (!at_start) references += "$";
    return NameExpression(std::make_shared<BoundExpression>(
        references, usages.size(),
        at_start ? BoundExpression::Use::match : BoundExpression::Use::find));
  }
  const std::string applied = std::string(outer_flags) + apply_anchors(std::string(text));
  const auto [flags, rest] = split_flags(applied);
  if (at_start) return NameExpression(compile(std::string(flags) + "^" + std::string(rest)), place);
  return NameExpression(compile(applied + "$"), place);
}

std::shared_ptr<Vocabulary::Prepared> Vocabulary::prepare(const std::string& expression,
                                                          const std::vector<std::string>& usages) {
  // The number in front tells an expression apart that looks like another with its usages.
  std::string cache_key = std::to_string(usages.size()) + '\0' + expression;
  for (const std::string& usage : usages) cache_key += '\0' + usage;
  if (const auto known = prepared_.find(cache_key); known != prepared_.end()) {
    return known->second;
  }
  if (!usages.empty() && !can_bind(expression, usages)) {
    return prepared_.emplace(std::move(cache_key), nullptr).first->second;
  }
  const std::string applied = apply_anchors(refer_back(expression, usages));
  NameExpression compiled = usages.empty()
                                ? NameExpression(compile(applied), NameExpression::Place::start)
                                : NameExpression(std::make_shared<BoundExpression>(
                                      applied, usages.size(), BoundExpression::Use::match));
  auto made =
      std::make_shared<Prepared>(Prepared{expression, usages, std::move(compiled), {}, nullptr});
  for (std::uint32_t key = 0; key < keys_->size(); ++key) {
    if (contains(expression, (*keys_)[key].definition)) made->defined.push_back(key);
  }
  return prepared_.emplace(std::move(cache_key), std::move(made)).first->second;
}

std::shared_ptr<Vocabulary::Prepared> Vocabulary::prepare_inserted(const std::string& expression) {
  const std::size_t known = prepared_.size();
  auto prepared = prepare(expression);
  if (prepared_.size() > known && ++inserted_ >= kMaximumInserted) {
    // All of them: what is still in use is held where it is used, or made anew.
    prepared_.clear();
    compiled_.clear();
    inserted_ = 0;
  }
  return prepared;
}

std::shared_ptr<const std::vector<Vocabulary::Definition>> Vocabulary::definitions(
    const Prepared& prepared) {
  std::vector<Definition> made;
  for (const std::uint32_t key : prepared.defined) {
    const auto [before, after] = split_at_anchor((*keys_)[key].definition, prepared.text);
    const std::string head = apply_anchors(refer_back(std::string(before), prepared.usages));
    // Flags in front of the expression hold for the part after the definition as well.
    const std::string_view flags = split_flags(head).first;
    made.push_back({key, part("", before, prepared.usages, NameExpression::Place::start),
                    part(flags, after, prepared.usages, NameExpression::Place::anywhere)});
  }
  return std::make_shared<const std::vector<Definition>>(std::move(made));
}

void Vocabulary::cut(Prepared& prepared, CapturedTexts texts, std::string_view name,
                     std::vector<Cut>& found) {
  found.clear();
  if (!prepared.definitions) {
    auto made = definitions(prepared);
    // Compiling may have let another thread in that prepared the same expression.
    if (!prepared.definitions) prepared.definitions = std::move(made);
  }
  for (const auto& [key, before, after] : *prepared.definitions) {
    found.push_back({key, after.remove(texts, before.remove(texts, name))});
  }
}

bool NameExpression::match(CapturedTexts texts, std::string_view name) const {
  return bound_ != nullptr ? bound_->match(texts, name) : plain_->match(name);
}

std::string NameExpression::remove(CapturedTexts texts, std::string_view name) const {
  if (bound_ != nullptr) return bound_->remove(texts, name);
  return place_ == Place::start ? plain_->remove_start(name) : plain_->remove_first(name);
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
    if (const auto text = state.decide(key, path)) {
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
  std::vector<Vocabulary::Cut> cuts;
  words->cut(*words->prepare(std::string(expression)), {}, name, cuts);
  for (const auto& [key, text] : cuts) state_->add(key, path, text);
}

bool Anchor::has_anchor(std::string_view expression) const {
  return std::ranges::any_of(
      *state_->keys(), [&](const AnchorKey& key) { return contains(expression, key.definition); });
}

bool Anchor::has_sub_anchor(std::string_view expression) const {
  return uses_any(*state_->keys(), expression);
}

RuleMatcher::RuleMatcher(Vocabulary& vocabulary, AnchorState& state, std::string_view expression)
    : vocabulary_(&vocabulary), state_(&state), expression_(expression) {
  const AnchorState::Keys& keys = *vocabulary.keys();
  for (std::uint32_t key = 0; key < keys.size(); ++key) {
    const std::string& usage = keys[key].parts.usage;
    if (!contains(expression, usage)) continue;
    const auto known = std::ranges::find(usages_, usage);
    used_.push_back({key, static_cast<std::uint32_t>(known - usages_.begin())});
    if (known == usages_.end()) usages_.push_back(usage);
  }
}

/// Finds the usages captured on the branch of `path`, with their texts.
void RuleMatcher::find_bound(std::string_view path) {
  bound_usages_.clear();
  bound_texts_.clear();
  const AnchorState::Branch branch = state_->branch(path);
  for (const auto& [key, usage] : used_) {
    // Of several definitions of one name the first with a capture decides.
    if (std::ranges::find(bound_usages_, usage) != bound_usages_.end()) continue;
    if (const auto text = state_->decide(key, branch)) {
      bound_usages_.push_back(usage);
      bound_texts_.push_back(*text);
    }
  }
}

void RuleMatcher::keep(std::string_view name, std::string_view path) {
  if (name.data() == name_.data()) return;
  name_.assign(name);
  path_.assign(path);
}

CapturedTexts RuleMatcher::keep(CapturedTexts texts) {
  if (texts.empty() || texts.data() == text_views_.data()) return texts;
  texts_.clear();
  for (const std::string_view text : texts) texts_.append(text);
  std::size_t begin = 0;
  text_views_.clear();
  for (const std::string_view text : texts) {
    text_views_.push_back(std::string_view(texts_).substr(begin, text.size()));
    begin += text.size();
  }
  return text_views_;
}

bool RuleMatcher::match(std::string_view name, std::string_view path) {
  if (!used_.empty()) find_bound(path);
  if (!bound_usages_.empty()) return match_bound(name, path);
  if (plain_ != nullptr) return match_prepared(plain_, {}, name, path);
  keep(name, path);
  plain_ = vocabulary_->prepare(expression_);
  return match_prepared(plain_, {}, name_, path_);
}

/// Matches by references to the captured texts where they need not be inserted.
bool RuleMatcher::match_bound(std::string_view name, std::string_view path) {
  if (!std::ranges::all_of(bound_texts_, is_plain_text)) return match_inserted(name, path);
  if (bound_for_ == bound_usages_) {
    if (bound_ == nullptr) return match_inserted(name, path);
    return match_prepared(bound_, bound_texts_, name, path);
  }
  std::vector<std::string> usages;
  for (const std::uint32_t usage : bound_usages_) usages.push_back(usages_[usage]);
  keep(name, path);
  const CapturedTexts texts = keep(bound_texts_);
  bound_for_.clear();
  bound_ = vocabulary_->prepare(expression_, usages);
  bound_for_ = bound_usages_;
  if (bound_ == nullptr) return match_inserted(name_, path_);
  return match_prepared(bound_, texts, name_, path_);
}

bool RuleMatcher::match_inserted(std::string_view name, std::string_view path) {
  const std::string inserted = replace_anchors(*state_, expression_, path);
  keep(name, path);
  return match_prepared(vocabulary_->prepare_inserted(inserted), {}, name_, path_);
}

bool RuleMatcher::match_prepared(const PreparedPointer& prepared, CapturedTexts texts,
                                 std::string_view name, std::string_view path) {
  if (prepared->defined.empty()) return prepared->expression.match(texts, name);
  keep(name, path);
  const CapturedTexts kept = keep(texts);
  if (!prepared->expression.match(kept, name_)) return false;
  // Every capture is cut before the first is recorded: a failing one leaves nothing behind.
  vocabulary_->cut(*prepared, kept, name_, cuts_);
  for (const auto& [key, text] : cuts_) state_->add(key, path_, text);
  return true;
}

}  // namespace kavel::hierarchy
