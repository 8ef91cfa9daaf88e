#include "core/hierarchy/bound_expression.h"

#include <gtest/gtest.h>

#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::hierarchy {
namespace {

TEST(BoundExpression, IsOnlyForPlainTextsAndSurroundings) {
  for (const char* text : {"", "a.b", "a+b", "f(x", "a\\", "x|y", "[", "<n>", "$", "{2}"}) {
    EXPECT_FALSE(is_plain_text(text)) << text;
  }
  for (const char* text : {"L", "arm_01", "a-b c", "рука", "#1", ","}) {
    EXPECT_TRUE(is_plain_text(text)) << text;
  }
  const std::pair<const char*, bool> rows[] = {
      {"<n>_arm$", true},     {"(?:a|<n>)_x\\d*$", true},
      {"[a-z]+_<n>", true},   {"[^<]]<n>", true},
      {"x<n>|y<n>", true},    {"<n>+", false},
      {"<n>{2}", false},      {"a{<n>}", false},
      {"\\<n>", false},       {"[<n>]", false},
      {"^<n>", false},        {"(?i)<n>", false},
      {"(?P<x>a)<n>", false}, {"(a)\\1<n>", false},
      {"\\b<n>", false},      {"[a<n>", false},
      {"(?=<n>)", false},     {"\\x<n>", false},
      {"x)(<n>", false},      {"(<n>", false},
      {"x{1<n>}", false},     {"x{2}<n>", true},
      {"<<n>>", false},       {"<q:<n>>", false},
  };
  for (const auto& [expression, expected] : rows) {
    EXPECT_EQ(can_bind(expression, {"<n>"}), expected) << expression;
  }
}

// Wherever references are allowed they must mean what the inserted text means.
TEST(BoundExpression, MeansTheInsertedText) {
  const std::vector<std::string> usages{"<n>", "<s>"};
  const char* expressions[] = {"<n>_<s>$",        "a|<n>",         "(<n>|<s>)x*",
                               "[L12_]*<s>.*<n>", "<n><n>?.<s>$",  "\\d*<n>\\D*",
                               "(?:<n>_)?mesh$",  "(a(<n>)b)?<s>", ".?<n>"};
  const std::string texts[][2] = {{"1", "L"}, {"12", "R_"}, {"a", "1"}};
  const char* names[] = {"1_L", "12_R_", "a",  "1",   "L1L",  "mesh", "1_mesh", "12_mesh\n",
                         "",    "11aL",  "aL", "a1b", "a1bL", "R_12", "aa_1",   "x12"};
  for (const std::string expression : expressions) {
    for (const auto& [n, s] : texts) {
      std::vector<std::string> used;
      std::vector<std::string_view> captured;
      for (const auto& [usage, text] : {std::pair(usages[0], &n), std::pair(usages[1], &s)}) {
        if (!foundation::contains(expression, usage)) continue;
        used.push_back(usage);
        captured.push_back(*text);
      }
      if (!can_bind(expression, used)) continue;
      const std::string inserted =
          foundation::replace_all(foundation::replace_all(expression, "<n>", n), "<s>", s);
      const auto plain = runtime::services().regex->compile(inserted);
      const BoundExpression bound(refer_back(expression, used), used.size(),
                                  BoundExpression::Use::match);
      for (const char* name : names) {
        EXPECT_EQ(bound.match(captured, name), plain->match(name)) << inserted << " on " << name;
        EXPECT_EQ(bound.remove(captured, name), plain->remove_start(name)) << inserted << name;
      }
    }
  }
}

}  // namespace
}  // namespace kavel::hierarchy
