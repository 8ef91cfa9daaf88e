// The store of usage records, kept in a local JSON file that several processes may share. Recording
// never disturbs the user's work: failures are logged.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/runtime/threads.h"
#include "core/services/statistics_content.h"
#include "core/services/statistics_http.h"
#include "core/services/statistics_port.h"

namespace kavel::services {

/// Every operation may be called from any thread; a lock guards the records. It is held while
/// `write` waits for its turn at the file.
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

  /// A copy of the records for the server; the store remembers what it carries.
  [[nodiscard]] runtime::Ref<StatisticsRequest> create_http_request();
  /// Takes note that the server has the records. With `clear` those that the last request carried
  /// are removed here and in the file; all of them when no request was made.
  void accept_http_response(const StatisticsResponse& response, bool clear);

  /// What the file holds, an empty map when it is of no use.
  [[nodiscard]] foundation::Json read();
  [[nodiscard]] foundation::Json data() const { return to_json(data_, names_); }
  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  [[nodiscard]] const runtime::Lock& lock() const noexcept { return *mutex_edit_; }

  /// Records kept under each key; the oldest ones give way.
  std::size_t maximum_records = kMaximumRecords;

 private:
  [[nodiscard]] std::optional<StatisticsContent> read_file();
  void append(std::size_t place, StatisticsEntry entry);
  [[nodiscard]] StatisticsContent merged(const runtime::Value& map);
  /// False when the file is of a newer version.
  bool merge_into_file();

  std::unique_ptr<runtime::Lock> mutex_edit_;
  std::string path_;
  NameTable names_;
  StatisticsContent data_;
  /// The records as this process last read or wrote them.
  StatisticsContent base_;
  /// What the last request carried.
  std::optional<StatisticsContent> sent_;
};

}  // namespace kavel::services
