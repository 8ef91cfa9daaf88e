// The automaton beside the interpreter's own expressions: it may have no answer, never another one.
#include "core/hierarchy/automaton.h"

#include <gtest/gtest.h>

#include <random>

#include "core/runtime/services.h"

namespace kavel::hierarchy {
namespace {

std::shared_ptr<NameAutomaton> automaton(const std::string& expression) {
  const auto tree = runtime::services().regex->parse(expression);
  return tree ? NameAutomaton::make(*tree, 0) : nullptr;
}

TEST(NameAutomaton, TakesPlainExpressionsOnly) {
  for (const char* expression :
       {"", "arm", "^arm$", R"(\Aarm\Z)", "[a-z]+_[LR]", R"(\w+_\d{2,4}$)", "(a|bc)*x", "(?:a+)+$",
        "a.c", "[^_]*", R"([\W\s]?)", "(?P<side>L|R)_arm", "a+?b*?c??", "é|a"}) {
    EXPECT_NE(automaton(expression), nullptr) << expression;
  }
  for (const char* expression :
       {"(?i)arm", "(?i:arm)", R"((a)\1)", "(?=a)", "(?<!a)b", R"(\barm)", "(a*)*", "(a|)+",
        "(a)?(?(1)b|c)", "(?m)^a$", "((a{1,60}){1,60}){1,60}"}) {
    EXPECT_EQ(automaton(expression), nullptr) << expression;
  }
}

TEST(NameAutomaton, LeavesForeignCharactersToTheInterpreter) {
  const auto arm = automaton("arm$");
  EXPECT_EQ(arm->match("arm\n"), std::nullopt);
  EXPECT_EQ(arm->match("arm\xC3\xA9"), std::nullopt);
  EXPECT_EQ(arm->match("leg\xC3\xA9"), false);
  EXPECT_EQ(automaton("arm")->match("arm\xC3\xA9"), true);
}

TEST(NameAutomaton, RefersToCapturedTexts) {
  const auto named =
      runtime::services().regex->parse("(?P<one>.)(?P<two>.)(?P<hit>[ab]+(?P=one)_(?P=two)$)");
  ASSERT_TRUE(named);
  const auto bound = NameAutomaton::make(named->children.back(), 2);
  ASSERT_NE(bound, nullptr);
  const std::vector<std::string_view> texts = {"b", "12"};
  EXPECT_EQ(bound->match("abb_12", texts), true);
  EXPECT_EQ(bound->match("ab_12", texts), true);
  EXPECT_EQ(bound->match("a_12", texts), false);
  EXPECT_EQ(bound->match("ab_123", texts), false);
  EXPECT_EQ(NameAutomaton::make(named->children.back(), 1), nullptr);
}

TEST(NameAutomaton, NestedRepeatsDoNotBlowUp) {
  const auto nested = automaton("(a+)+$");
  EXPECT_EQ(nested->match(std::string(60, 'a') + "b"), false);
  EXPECT_EQ(nested->match(std::string(60, 'a')), true);
}

/// Expressions of a small grammar, so that names match often.
class Random {
 public:
  explicit Random(std::uint32_t seed) : engine_(seed) {}

  std::size_t below(std::size_t end) { return engine_() % end; }
  std::string name() {
    std::string text;
    for (std::size_t size = below(9); text.size() < size;) text += "aab_1 A\n"[below(8)];
    return text;
  }
  std::string expression(int depth = 3) {
    std::string text;
    for (std::size_t count = 1 + below(3); count > 0; --count) text += item(depth);
    return text;
  }

 private:
  std::string item(int depth) {
    static const std::vector<std::string> kAtoms = {
        "a", "b", "_", "1", ".", "[ab]", "[^a]", R"(\d)", R"(\w)", R"(\S)", "[a-b_]", "A"};
    static const std::vector<std::string> kRepeats = {"",  "",    "",      "*",  "+",
                                                      "?", "{2}", "{1,2}", "*?", "+?"};
    static const std::vector<std::string> kPlaces = {"^", "$", R"(\Z)", R"(\A)"};
    const std::size_t kind = below(10);
    if (kind == 0) return kPlaces[below(kPlaces.size())];
    if (kind > 3 || depth == 0) return kAtoms[below(kAtoms.size())] + kRepeats[below(10)];
    std::string inside = expression(depth - 1);
    if (kind == 1) inside += "|" + expression(depth - 1);
    return (kind == 2 ? "(" : "(?:") + inside + ")" + kRepeats[below(10)];
  }

  std::mt19937 engine_;
};

TEST(NameAutomaton, AgreesWithTheInterpreter) {
  Random random(20261121);
  std::size_t answered = 0;
  for (int round = 0; round < 4000; ++round) {
    const std::string expression = random.expression();
    std::shared_ptr<const runtime::Expression> law;
    try {
      law = runtime::services().regex->compile(expression);
    } catch (...) {
      continue;  // "multiple repeat" and the like
    }
    const auto own = automaton(expression);
    if (own == nullptr) continue;
    for (int each = 0; each < 8; ++each) {
      const std::string name = random.name();
      const auto matched = own->match(name);
      const auto cut = own->remove_start(name);
      const auto found = own->remove_first(name);
      if (matched) {
        EXPECT_EQ(*matched, law->match(name)) << expression << " on " << name;
      }
      if (cut) {
        EXPECT_EQ(*cut, law->remove_start(name)) << expression << " on " << name;
      }
      if (found) {
        EXPECT_EQ(*found, law->remove_first(name)) << expression << " on " << name;
      }
      answered += matched && cut && found ? 1U : 0U;
    }
  }
  EXPECT_GT(answered, 5000U);
}

}  // namespace
}  // namespace kavel::hierarchy
