#include "core/services/statistics_merge.h"

#include <gtest/gtest.h>

#include <limits>

namespace kavel::services {
namespace {

StatisticsSeries series(std::initializer_list<double> times) {
  StatisticsSeries result;
  for (const double time : times) result.push_back({1, 2, time, 0.5, nullptr});
  return result;
}

struct Case {
  const char* name;
  StatisticsSeries file;
  StatisticsSeries base;
  StatisticsSeries data;
  std::size_t limit;
  StatisticsSeries merged;
};

TEST(StatisticsMerge, KeepsWhatNobodyRemovedOnce) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Case cases[] = {
      {"nothing changed", series({1, 2}), series({1, 2}), series({1, 2}), 9, series({1, 2})},
      {"ours and theirs", series({1, 3}), series({1}), series({1, 2}), 9, series({1, 2, 3})},
      {"equal records count", series({1, 1}), series({1}), series({1, 1}), 9, series({1, 1, 1})},
      {"we removed one of two", series({1, 1}), series({1, 1}), series({1}), 9, series({1})},
      {"they removed it", series({}), series({1}), series({1}), 9, series({})},
      {"both removed it", series({}), series({1}), series({}), 9, series({})},
      {"removed and added anew", series({1}), series({1}), series({2}), 9, series({2})},
      {"newest", series({1, 4}), series({}), series({2, 3}), 2, series({3, 4})},
      {"no time", series({nan, 1}), series({nan}), series({nan, 2}), 9, series({nan, 1, 2})},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(merge(row.file, row.base, row.data, row.limit), row.merged) << row.name;
  }
}

TEST(StatisticsMerge, TellsRecordsOfOtherShapesApartByContent) {
  using foundation::Json;
  const auto other = [](Json count) {
    return other_entry(Json::Map{{"count", std::move(count)}, {"timestamp", 1.0}});
  };
  const StatisticsSeries file = {other(1), other(1.0), other(Json())};
  EXPECT_EQ(without(file, {other(1.0), other("1"), other(1.0)}),
            (StatisticsSeries{other(1), other(Json())}));
}

}  // namespace
}  // namespace kavel::services
