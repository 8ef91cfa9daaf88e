#include "core/services/statistics_entries.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <utility>

#include "core/foundation/json_writer.h"
#include "core/runtime/services.h"

namespace kavel::services {
namespace {

using foundation::Json;
using runtime::Value;

double time_of(const Json& record) {
  const Json* timestamp = record.find("timestamp");
  return timestamp == nullptr ? 0.0 : timestamp->number().value_or(0.0);
}

/// Bits that are equal when the written numbers are.
std::uint64_t written(double number) noexcept {
  return std::isnan(number) ? ~std::uint64_t{0} : std::bit_cast<std::uint64_t>(number);
}

}  // namespace

std::uint32_t NameTable::number(std::string_view name) {
  if (const auto found = numbers_.find(name); found != numbers_.end()) return found->second;
  const auto [made, fresh] =
      numbers_.emplace(std::string(name), static_cast<std::uint32_t>(texts_.size()));
  texts_.push_back(&made->first);
  return made->second;
}

OtherRecord::OtherRecord(Json record)
    : data(std::move(record)), line(foundation::json_line(data)), timestamp(time_of(data)) {}

double StatisticsEntry::time() const noexcept {
  const double noted = other ? other->timestamp : timestamp;
  return std::isfinite(noted) ? noted : 0.0;
}

bool operator==(const StatisticsEntry& left, const StatisticsEntry& right) noexcept {
  if (left.other || right.other) {
    return left.other && right.other && left.other->line == right.other->line;
  }
  return left.name == right.name && left.result == right.result &&
         written(left.timestamp) == written(right.timestamp) &&
         written(left.speed) == written(right.speed);
}

std::size_t StatisticsEntryHash::operator()(const StatisticsEntry& entry) const noexcept {
  if (entry.other) return std::hash<std::string>()(entry.other->line);
  constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15U;
  std::uint64_t hash = written(entry.timestamp) * kSpread;
  hash = (hash ^ written(entry.speed)) * kSpread;
  hash = (hash ^ (std::uint64_t{entry.name} << 32U) ^ entry.result) * kSpread;
  return static_cast<std::size_t>(hash ^ (hash >> 32U));
}

void renumber(StatisticsSeries& series, const NameTable& from, NameTable& to) {
  for (StatisticsEntry& entry : series) {
    if (entry.other) continue;
    entry.name = to.number(from.text(entry.name));
    entry.result = to.number(from.text(entry.result));
  }
}

StatisticsEntry other_entry(Json record) {
  StatisticsEntry entry;
  entry.other = std::make_shared<const OtherRecord>(std::move(record));
  return entry;
}

Json to_json(const StatisticsEntry& entry, const NameTable& names) {
  if (entry.other) return entry.other->data;
  return Json::Map{{"name", names.text(entry.name)},
                   {"result", names.text(entry.result)},
                   {"timestamp", entry.timestamp},
                   {"speed", entry.speed}};
}

EntryReader::EntryReader(NameTable& names)
    : names_(names),
      keys_{runtime::services().data->make_text("name"),
            runtime::services().data->make_text("result"),
            runtime::services().data->make_text("timestamp"),
            runtime::services().data->make_text("speed")} {}

StatisticsEntry EntryReader::entry(const Value& record) {
  runtime::PlainData& data = *runtime::services().data;
  if (data.is_map(record) && data.map_size(record) == keys_.size()) {
    const auto name = data.text(data.entry(record, keys_[0]));
    const auto result = data.text(data.entry(record, keys_[1]));
    const auto timestamp = data.real(data.entry(record, keys_[2]));
    const auto speed = data.real(data.entry(record, keys_[3]));
    if (name && result && timestamp && speed) {
      return {names_.number(*name), names_.number(*result), *timestamp, *speed, nullptr};
    }
  }
  return other_entry(runtime::services().json->to_json(record));
}

StatisticsSeries EntryReader::series(const Value& list, std::size_t limit) {
  StatisticsSeries series;
  const auto records = list ? runtime::services().data->elements(list) : std::nullopt;
  if (!records) return series;
  const std::size_t kept = std::min(limit, records->size());
  for (std::size_t index = records->size() - kept; index < records->size(); ++index) {
    series.push_back(entry((*records)[index]));
  }
  return series;
}

}  // namespace kavel::services
