// The content of a file of usage records, and its way to and from the interpreter's form.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/services/statistics_entries.h"
#include "core/services/statistics_record.h"

namespace kavel::services {

/// The keys of the file's arrays, in their order.
inline constexpr std::array<std::string_view, 4> kStatisticsKeys = {
    ValidateRecord::kKey, ChecksRecord::kKey, ExportedRecord::kKey, FeedbackSentRecord::kKey};
inline constexpr std::size_t kChecksPlace = 1;
/// The version of the file's form.
inline constexpr std::int64_t kStatisticsVersion = 1;

struct StatisticsContent {
  /// In the order of the keys.
  std::array<StatisticsSeries, kStatisticsKeys.size()> series;
  /// What else a file holds, kept as it is: a map without these keys and the version.
  foundation::Json others = foundation::Json::Map();
};

enum class VersionState { usable, older, newer };
/// Of the interpreter's map; a missing or odd version counts as an older one.
[[nodiscard]] VersionState version_state(const runtime::Value& map);

/// From the interpreter's map, of each array the last `limit` records; what is no array is an empty
/// one. Throws what the conversion raises for data that JSON has no form for.
[[nodiscard]] StatisticsContent read_content(const runtime::Value& map, NameTable& names,
                                             std::size_t limit);
[[nodiscard]] foundation::Json to_json(const StatisticsContent& content, const NameTable& names);
/// The text of the file, indented by 2.
[[nodiscard]] std::string file_text(const StatisticsContent& content, const NameTable& names);

}  // namespace kavel::services
