#include "core/hierarchy/bound_expression.h"

#include <algorithm>
#include <array>

#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::hierarchy {
namespace {

/// Whether a character has a meaning in expressions, by its code.
constexpr auto kSpecial = [] {
  std::array<bool, 256> special{};
  for (const char character : std::string_view("\\.^$*+?{}[]|()<>\0", 17)) {
    special[static_cast<unsigned char>(character)] = true;
  }
  return special;
}();
constexpr const char* kHit = "kavel_hit";

std::string reference_name(std::size_t index) { return "kavel_" + std::to_string(index); }

/// Position behind the set that opens at `begin`; npos when it does not end.
std::size_t end_of_set(std::string_view expression, std::size_t begin) noexcept {
  std::size_t at = begin + 1;
  if (at < expression.size() && expression[at] == '^') ++at;
  // A bracket that stands first is an element.
  if (at < expression.size() && expression[at] == ']') ++at;
  for (; at < expression.size(); ++at) {
    if (expression[at] == '\\') {
      ++at;
    } else if (expression[at] == ']') {
      return at + 1;
    }
  }
  return std::string_view::npos;
}

bool holds_any(std::string_view text, const std::vector<std::string>& usages) {
  return std::ranges::any_of(
      usages, [text](const std::string& usage) { return foundation::contains(text, usage); });
}

/// Whether it has only escapes and groups whose meaning depends neither on their neighbours nor on
/// their number, and no start of text, which would be taken for the start of the captured texts.
/// Its groups are closed: it will stand inside of one.
bool has_plain_syntax(std::string_view expression, const std::vector<std::string>& usages) {
  constexpr std::string_view kEscapes = "dwsDWS.-_$^()[]{}*+?|/";
  int open = 0;
  for (std::size_t at = 0; at < expression.size(); ++at) {
    const std::string_view rest = expression.substr(at + 1);
    const char next = rest.empty() ? '\0' : rest.front();
    switch (expression[at]) {
      case '\\':
        if (kEscapes.find(next) == std::string_view::npos) return false;
        ++at;
        break;
      case '(':
        if (next == '?' && !rest.starts_with("?:")) return false;
        ++open;
        break;
      case ')':
        if (--open < 0) return false;
        break;
      case '[': {
        const std::size_t end = end_of_set(expression, at);
        if (end == std::string_view::npos) return false;
        if (holds_any(expression.substr(at, end - at), usages)) return false;
        at = end - 1;
        break;
      }
      case '{':
        // A text between braces may make a count of what was none.
        if (holds_any(rest.substr(0, rest.find('}')), usages)) return false;
        break;
      case '^':
      case '\0':
        return false;
      default:
        break;
    }
  }
  return open == 0;
}

bool stands_alone(std::string_view before, std::string_view after) noexcept {
  const bool quantified =
      !after.empty() && std::string_view("*+?{").find(after.front()) != std::string_view::npos;
  const bool inside =
      !before.empty() && std::string_view("\\{,").find(before.back()) != std::string_view::npos;
  // Between other brackets the text may make up the name of another anchor.
  const std::size_t opened = before.rfind('<');
  const bool nested = opened != std::string_view::npos &&
                      before.find('>', opened) == std::string_view::npos &&
                      foundation::contains(after, ">");
  return !quantified && !inside && !nested;
}

/// The texts in front of a subject, each ended by a zero character.
std::string prefix_of(CapturedTexts texts) {
  std::string prefix;
  for (const std::string_view text : texts) {
    prefix += text;
    prefix += '\0';
  }
  return prefix;
}

PlainExpression compile(const std::string& references, std::size_t count,
                        BoundExpression::Use use) {
  std::string texts;
  for (std::size_t index = 0; index < count; ++index) {
    texts += "(?P<" + reference_name(index) + ">[^\\x00]*)\\x00";
  }
  const std::string hit = "(?P<" + std::string(kHit) + ">" + references + ")";
  const char* gap = use == BoundExpression::Use::find ? "(?s:.*?)" : "";
  return {texts + hit, count, texts + gap + hit};
}

}  // namespace

bool is_plain_text(std::string_view text) noexcept {
  return !text.empty() && std::ranges::none_of(text, [](char character) {
    return kSpecial[static_cast<unsigned char>(character)];
  });
}

bool can_bind(std::string_view expression, const std::vector<std::string>& usages) {
  for (const std::string& usage : usages) {
    for (std::size_t at = expression.find(usage); at != std::string_view::npos;
         at = expression.find(usage, at + usage.size())) {
      if (!stands_alone(expression.substr(0, at), expression.substr(at + usage.size()))) {
        return false;
      }
    }
  }
  return has_plain_syntax(expression, usages);
}

std::string refer_back(std::string expression, const std::vector<std::string>& usages) {
  for (std::size_t index = 0; index < usages.size(); ++index) {
    expression =
        foundation::replace_all(expression, usages[index], "(?P=" + reference_name(index) + ")");
  }
  return expression;
}

std::string restore_usages(std::string references, const std::vector<std::string>& usages) {
  for (std::size_t index = 0; index < usages.size(); ++index) {
    references =
        foundation::replace_all(references, "(?P=" + reference_name(index) + ")", usages[index]);
  }
  return references;
}

BoundExpression::BoundExpression(const std::string& references, std::size_t count, Use use)
    : use_(use), expression_(compile(references, count, use)) {}

bool BoundExpression::match(CapturedTexts texts, std::string_view subject) const {
  if (NameAutomaton* automaton = expression_.automaton()) {
    if (const auto matched = automaton->match(subject, texts)) return *matched;
  }
  const std::string whole = prefix_of(texts).append(subject);
  return expression_.law().match(whole);
}

std::string BoundExpression::remove(CapturedTexts texts, std::string_view subject) const {
  if (NameAutomaton* automaton = expression_.automaton()) {
    auto rest = use_ == Use::match ? automaton->remove_start(subject, texts)
                                   : automaton->remove_first(subject, texts);
    if (rest) return *std::move(rest);
  }
  const std::string prefix = prefix_of(texts);
  const std::string whole = prefix + std::string(subject);
  return expression_.law().remove_group(whole, kHit).substr(prefix.size());
}

}  // namespace kavel::hierarchy
