#include "core/foundation/text.h"

#include <gtest/gtest.h>

namespace kavel::foundation {
namespace {

using Texts = std::vector<std::string>;

TEST(Text, FormatFillsPlacesOnce) {
  EXPECT_EQ(format("{}: {}", {"a{}", "b"}), "a{}: b") << "an argument is no pattern";
  EXPECT_EQ(format("{}", {}), "{}");
  EXPECT_EQ(format("none", {"x"}), "none");
}

TEST(Text, SplitAndReplace) {
  EXPECT_EQ(split("a//b", "/"), (Texts{"a", "", "b"}));
  EXPECT_EQ(split("", "/"), (Texts{""}));
  EXPECT_EQ(join({"a", "", "b"}, "::"), "a::::b");
  EXPECT_EQ(replace_all("aaa", "aa", "b"), "ba");
  EXPECT_EQ(replace_all("abc", "", "-"), "abc");
}

TEST(Text, CountsCodePointsNotBytes) {
  EXPECT_EQ(count_shared_code_points("абв", "абг"), 2U);
  // é and è share their first byte.
  EXPECT_EQ(count_shared_code_points("\u00e9", "\u00e8"), 0U);
  EXPECT_EQ(count_shared_code_points("\U0001F600x", "\U0001F600y"), 1U);
  EXPECT_EQ(count_shared_code_points("ab", "abc"), 2U);
}

TEST(Text, NumbersAreWrittenAsTheInterpreterDoes) {
  const std::pair<double, const char*> rows[] = {
      {0, "0.0"},
      {-0.5, "-0.5"},
      {1e5, "100000.0"},
      {1.7e9, "1700000000.0"},
      {1e16, "1e+16"},
      {1e-4, "0.0001"},
      {1e-5, "1e-05"},
      {1.5e300, "1.5e+300"},
      {1e15, "1000000000000000.0"},
      {0.1, "0.1"},
  };
  for (const auto& [number, text] : rows) EXPECT_EQ(number_text(number), text);
}

TEST(Text, CodePointsRoundTrip) {
  // The last one is a lone surrogate, which host names may hold.
  for (const char32_t code_point : {U'a', U'\u00e9', U'\u4e2d', U'\U0001F600', char32_t{0xD800}}) {
    std::string text;
    append_code_point(text, code_point);
    std::size_t position = 0;
    EXPECT_EQ(next_code_point(text, position), code_point);
    EXPECT_EQ(position, text.size());
  }
}

TEST(Text, NumbersReadBackEqual) {
  EXPECT_EQ(number_text(0.1), "0.1");
  EXPECT_EQ(number_text(3.0), "3.0");
  EXPECT_EQ(std::stod(number_text(1700000000.123456)), 1700000000.123456);
}

}  // namespace
}  // namespace kavel::foundation
