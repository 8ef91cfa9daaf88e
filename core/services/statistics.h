// The store of usage records, kept in a local JSON file that several processes may share. Recording
// never disturbs the user's work: failures are logged.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "core/runtime/threads.h"
#include "core/services/statistics_content.h"
#include "core/services/statistics_http.h"
#include "core/services/statistics_port.h"

namespace kavel::services {

/// Every operation may be called from any thread; a lock guards the records. It is held while
/// `write` waits for its turn at the file. Whatever the interpreter runs meanwhile on the same
/// thread, such as a finaliser, may add records: they follow when the lock is released. `write`,
/// `clear` and `accept_http_response` are logged there and do nothing.
class Statistics final : public StatisticsPort {
 public:
  static constexpr std::size_t kMaximumRecords = 100'000;

  /// Reads the file at `path`; what cannot be used is logged and counts as empty.
  explicit Statistics(std::string path);

  void add_check(std::string_view name, std::string_view status, double seconds) override;
  void add(const StatisticsRecord& record);
  /// Adds a record in the interpreter's form under one of the four keys; any other key is logged.
  void add(std::string_view key, const runtime::Value& data);

  /// Merges the records into the file and takes over what the file holds then. A file of a newer
  /// version is not touched; after a failure the records stay as they are.
  void write();
  /// Merges into a map as the file has it, in place. The records stay as they are.
  void extend(const runtime::Value& map);
  /// Removes every record; the file keeps its own until `write`.
  void clear();

  /// A copy of the records for the server. The store remembers what the oldest request without an
  /// answer carries: an answer does not tell which request it is for.
  [[nodiscard]] runtime::Ref<StatisticsRequest> create_http_request();
  /// Takes note that the server has the records. With `clear` those that every request without an
  /// answer carried are removed here and in the file: a record may be sent twice, but is never
  /// lost. All of them are removed when no request was ever made. A refusal is an answer, too.
  void accept_http_response(const StatisticsResponse& response, bool clear);

  /// What the file holds, an empty map when it is of no use.
  [[nodiscard]] foundation::Json read();
  [[nodiscard]] foundation::Json data() const { return to_json(data_, names_); }
  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  [[nodiscard]] const runtime::Lock& lock() const noexcept { return *mutex_edit_; }

  /// Records kept under each key; the oldest ones give way.
  std::size_t maximum_records = kMaximumRecords;

 private:
  /// Holds the lock for a scope, unless this thread holds it already. Defined with the operations.
  class Turn;

  [[nodiscard]] std::optional<StatisticsContent> read_file(NameTable& names);
  /// Drops names that no record has any more, when there are many names.
  void forget_names();
  void append(std::size_t place, StatisticsEntry entry, const Turn& turn);
  [[nodiscard]] StatisticsContent merged(const runtime::Value& map);
  /// Within a turn. False when the file is of a newer version.
  bool merge_into_file();

  std::unique_ptr<runtime::Lock> mutex_edit_;
  std::string path_;
  NameTable names_;
  StatisticsContent data_;
  /// The records as this process last read or wrote them.
  StatisticsContent base_;
  /// What the oldest request without an answer carried.
  std::optional<StatisticsContent> sent_;
  bool has_requested_ = false;
  /// The thread that holds the lock.
  std::optional<std::thread::id> holder_;
  /// Records that the holder added while it was at work on the others.
  std::array<StatisticsSeries, kStatisticsKeys.size()> waiting_;
  /// Number of names from which on unused ones are looked for.
  std::size_t names_limit_ = 0;
};

}  // namespace kavel::services
