// How several processes share one file of records: each takes out of the file what it removed since
// it last read or wrote it, and puts in what it added. Nothing is lost, nothing counted twice, and
// what another process removed stays removed.
#pragma once

#include "core/services/statistics_entries.h"

namespace kavel::services {

/// file - (base - data) + (data - base), as multisets, in order of time; of that the newest
/// `limit`. `base` is what this process last read or wrote, `data` what it has now.
[[nodiscard]] StatisticsSeries merge(const StatisticsSeries& file, const StatisticsSeries& base,
                                     const StatisticsSeries& data, std::size_t limit);

/// `series` without one entry for each equal one in `taken`.
[[nodiscard]] StatisticsSeries without(const StatisticsSeries& series,
                                       const StatisticsSeries& taken);

/// Removes the oldest entries, those at the front, over `limit`.
void bound(StatisticsSeries& series, std::size_t limit);

}  // namespace kavel::services
