// Usage records as the store keeps them. A run over a large scene adds a million records of check
// runs, so these take a few numbers each; records of any other shape are kept as they are.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/foundation/json.h"
#include "core/runtime/value.h"

namespace kavel::services {

/// Texts that many records repeat, each kept once.
class NameTable {
 public:
  /// The number of a text, the same each time.
  [[nodiscard]] std::uint32_t number(std::string_view name);
  [[nodiscard]] const std::string& text(std::uint32_t number) const { return *texts_[number]; }
  [[nodiscard]] std::size_t size() const noexcept { return texts_.size(); }

 private:
  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  std::unordered_map<std::string, std::uint32_t, Hash, std::equal_to<>> numbers_;
  // Moving the map leaves its texts where they are.
  std::vector<const std::string*> texts_;
};

/// A record that is not of the shape of a check run.
struct OtherRecord {
  explicit OtherRecord(foundation::Json record);

  foundation::Json data;
  /// The data in one line, by which such records are compared.
  std::string line;
  double timestamp;
};

/// One record: a check run by its names' numbers, or any other one.
struct StatisticsEntry {
  std::uint32_t name = 0;
  std::uint32_t result = 0;
  /// Seconds since the epoch.
  double timestamp = 0;
  /// Seconds.
  double speed = 0;
  std::shared_ptr<const OtherRecord> other;

  /// What the records are sorted by: 0 for none and for what is no finite number.
  [[nodiscard]] double time() const noexcept;
  /// Whether both would be written as the same text.
  friend bool operator==(const StatisticsEntry& left, const StatisticsEntry& right) noexcept;
};

struct StatisticsEntryHash {
  std::size_t operator()(const StatisticsEntry& entry) const noexcept;
};

/// In order of time, as far as clocks go.
using StatisticsSeries = std::deque<StatisticsEntry>;

/// Gives the names of the entries the numbers that they have in `to`, for a table without names
/// that no record has any more.
void renumber(StatisticsSeries& series, const NameTable& from, NameTable& to);

[[nodiscard]] StatisticsEntry other_entry(foundation::Json record);
[[nodiscard]] foundation::Json to_json(const StatisticsEntry& entry, const NameTable& names);

/// Makes entries from records in the interpreter's form.
class EntryReader {
 public:
  explicit EntryReader(NameTable& names);

  /// Throws what the conversion raises when JSON has no form for the record.
  [[nodiscard]] StatisticsEntry entry(const runtime::Value& record);
  /// The last `limit` elements of a list; none for any other value.
  [[nodiscard]] StatisticsSeries series(const runtime::Value& list, std::size_t limit);

 private:
  NameTable& names_;
  // The keys of a check run.
  const std::array<runtime::Value, 4> keys_;
};

}  // namespace kavel::services
