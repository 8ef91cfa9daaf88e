#include "core/hierarchy/plain_expression.h"

#include <utility>

#include "core/runtime/services.h"

namespace kavel::hierarchy {

PlainExpression::PlainExpression(std::string text) : text_(std::move(text)) {
  if (const auto tree = runtime::services().regex->parse(text_)) {
    automaton_ = NameAutomaton::make(*tree, 0);
  }
  if (automaton_ == nullptr) (void)law();
}

PlainExpression::PlainExpression(const std::string& text, std::size_t texts, std::string compiled)
    : text_(std::move(compiled)) {
  if (const auto tree = runtime::services().regex->parse(text)) {
    automaton_ = NameAutomaton::make(tree->children.back(), texts);
  }
  if (automaton_ == nullptr) (void)law();
}

const runtime::Expression& PlainExpression::law() const {
  if (law_ == nullptr) {
    auto compiled = runtime::services().regex->compile(text_);
    if (law_ == nullptr) law_ = std::move(compiled);
  }
  return *law_;
}

bool PlainExpression::match(std::string_view name) const {
  if (automaton_ != nullptr) {
    if (const auto matched = automaton_->match(name)) return *matched;
  }
  // Compiling may let the table behind the view grow.
  const std::string own_name(name);
  return law().match(own_name);
}

std::string PlainExpression::remove_start(std::string_view name) const {
  if (automaton_ != nullptr) {
    if (auto rest = automaton_->remove_start(name)) return *std::move(rest);
  }
  const std::string own_name(name);
  return law().remove_start(own_name);
}

std::string PlainExpression::remove_first(std::string_view name) const {
  if (automaton_ != nullptr) {
    if (auto rest = automaton_->remove_first(name)) return *std::move(rest);
  }
  const std::string own_name(name);
  return law().remove_first(own_name);
}

}  // namespace kavel::hierarchy
