#include "core/export/version.h"

#include <gtest/gtest.h>

namespace kavel::exporting {
namespace {

TEST(Version, CountsWithoutBounds) {
  const std::string big(40, '9');
  const std::pair<std::string, std::string> rows[] = {
      {"0", "01"},    {"1", "02"},   {"007", "08"},
      {"09", "10"},   {"99", "100"}, {"109", "110"},
      {"199", "200"}, {"000", "01"}, {big, "1" + std::string(40, '0')},
  };
  for (const auto& [digits, next] : rows) EXPECT_EQ(Version(digits).next().text(), next) << digits;
  EXPECT_EQ(Version().text(), "01");
}

TEST(Version, IsOrderedByValue) {
  EXPECT_LT(Version("9"), Version("10"));
  EXPECT_LT(Version(std::string(20, '9')), Version("1" + std::string(20, '0')));
  EXPECT_GT(Version("0021"), Version("20"));
  EXPECT_EQ(Version("01"), Version());
}

}  // namespace
}  // namespace kavel::exporting
