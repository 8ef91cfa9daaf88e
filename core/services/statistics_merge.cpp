#include "core/services/statistics_merge.h"

#include <algorithm>
#include <cstddef>
#include <unordered_map>

namespace kavel::services {
namespace {

using Counts = std::unordered_map<StatisticsEntry, std::ptrdiff_t, StatisticsEntryHash>;

/// Counts one of `entry` towards zero by `step`; false when it has no count of the other sign.
bool settle(Counts& counts, const StatisticsEntry& entry, std::ptrdiff_t step) {
  const auto found = counts.find(entry);
  if (found == counts.end() || (step > 0 ? found->second >= 0 : found->second <= 0)) return false;
  found->second += step;
  return true;
}

}  // namespace

StatisticsSeries merge(const StatisticsSeries& file, const StatisticsSeries& base,
                       const StatisticsSeries& data, std::size_t limit) {
  Counts changes;
  changes.reserve(data.size());
  for (const StatisticsEntry& entry : data) ++changes[entry];
  for (const StatisticsEntry& entry : base) --changes[entry];
  StatisticsSeries merged;
  for (const StatisticsEntry& entry : file) {
    if (!settle(changes, entry, 1)) merged.push_back(entry);
  }
  for (const StatisticsEntry& entry : data) {
    if (settle(changes, entry, -1)) merged.push_back(entry);
  }
  std::ranges::stable_sort(merged, {}, &StatisticsEntry::time);
  bound(merged, limit);
  return merged;
}

StatisticsSeries without(const StatisticsSeries& series, const StatisticsSeries& taken) {
  Counts counts;
  for (const StatisticsEntry& entry : taken) ++counts[entry];
  StatisticsSeries left;
  for (const StatisticsEntry& entry : series) {
    if (!settle(counts, entry, -1)) left.push_back(entry);
  }
  return left;
}

void bound(StatisticsSeries& series, std::size_t limit) {
  if (series.size() <= limit) return;
  series.erase(series.begin(), series.begin() + static_cast<std::ptrdiff_t>(series.size() - limit));
}

}  // namespace kavel::services
