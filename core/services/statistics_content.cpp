#include "core/services/statistics_content.h"

#include <algorithm>

#include "core/foundation/json_writer.h"
#include "core/runtime/services.h"

namespace kavel::services {
namespace {

using foundation::Json;
using runtime::Value;

constexpr std::string_view kVersionKey = "version";

bool is_other(std::string_view key) {
  return key != kVersionKey && std::ranges::find(kStatisticsKeys, key) == kStatisticsKeys.end();
}

Value entry(const Value& map, std::string_view key) {
  runtime::PlainData& data = *runtime::services().data;
  return data.entry(map, data.make_text(key));
}

void append_key(std::string& text, std::string_view key) {
  text += ",\n  ";
  foundation::append_json(text, key);
  text += ": ";
}

}  // namespace

VersionState version_state(const Value& map) {
  const Value version = entry(map, kVersionKey);
  if (!version) return VersionState::older;
  const Json json = runtime::services().json->to_json(version);
  if (const auto* big = json.big_integer()) {
    return big->digits.starts_with('-') ? VersionState::older : VersionState::newer;
  }
  const double number = json.number().value_or(0.0);
  if (number == static_cast<double>(kStatisticsVersion)) return VersionState::usable;
  return number > static_cast<double>(kStatisticsVersion) ? VersionState::newer
                                                          : VersionState::older;
}

StatisticsContent read_content(const Value& map, NameTable& names, std::size_t limit) {
  StatisticsContent content;
  EntryReader reader(names);
  for (std::size_t place = 0; place < kStatisticsKeys.size(); ++place) {
    content.series.at(place) = reader.series(entry(map, kStatisticsKeys.at(place)), limit);
  }
  for (const auto& [key, value] : runtime::services().data->entries(map)) {
    const auto name = runtime::services().data->text(key);
    if (!name || !is_other(*name)) continue;
    content.others.set(*name, runtime::services().json->to_json(value));
  }
  return content;
}

Json to_json(const StatisticsContent& content, const NameTable& names) {
  Json json = Json::Map{{std::string(kVersionKey), kStatisticsVersion}};
  for (std::size_t place = 0; place < kStatisticsKeys.size(); ++place) {
    Json::Array records;
    for (const StatisticsEntry& entry : content.series.at(place)) {
      records.push_back(to_json(entry, names));
    }
    json.set(kStatisticsKeys.at(place), std::move(records));
  }
  for (const auto& [key, value] : *content.others.map()) json.set(key, value);
  return json;
}

std::string file_text(const StatisticsContent& content, const NameTable& names) {
  std::string text = "{\n  \"version\": " + std::to_string(kStatisticsVersion);
  for (std::size_t place = 0; place < kStatisticsKeys.size(); ++place) {
    append_key(text, kStatisticsKeys.at(place));
    text += '[';
    const StatisticsSeries& series = content.series.at(place);
    // Record by record: all of them in the core's form would take many times the text's room.
    for (std::size_t index = 0; index < series.size(); ++index) {
      text += index > 0 ? ",\n    " : "\n    ";
      foundation::append_json(text, to_json(series[index], names), 2);
    }
    text += series.empty() ? "]" : "\n  ]";
  }
  for (const auto& [key, value] : *content.others.map()) {
    append_key(text, key);
    foundation::append_json(text, value, 1);
  }
  return text + "\n}";
}

}  // namespace kavel::services
