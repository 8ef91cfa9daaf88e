// The queue in which editors, in processes on any number of machines, take turns at one JSON file.
//
// There is no lock service, only empty marker files beside the data file P:
//   P.lock    says that a group of editors is taking turns; who comes later waits until it is gone
//   P.id.N    the place of the editor with ticket N, a random number; the order of names is the
//             order of turns
//
// Life cycle of a turn: wait until there is no lock (asked every 0.5 s); make the lock and the own
// ticket; wait 0.1 s, so that editors who saw no lock at the same moment have made theirs; wait
// until the own ticket is the first (asked every 0.1 s); read the file; work; write; remove the
// ticket, and the lock when no other ticket is left. Every wait ends after `access_timeout`.
//
// Markers whose editor died stop counting once they are older than `life_duration_threshold`:
// whoever waits removes them. An editor whose turn did not come in time leaves its ticket behind,
// which stops counting in the same way.
//
// Concurrency: the scheme needs every editor to make its ticket less than 0.1 s after it saw no
// lock. One that was slower (a busy machine) could overtake an editor in the middle of its turn, so
// it gives its place back and begins anew, unless its ticket is the last one anyway. Clocks that
// are apart by more than the threshold, and folders listed from a stale cache, are not guarded
// against; replacing the file in one step keeps it whole even then. An object serves one thread.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/runtime/object.h"

namespace kavel::foundation {

/// Names in folders, each folder listed once, when it is first asked for.
class FolderListing {
 public:
  /// The names that start with `prefix`, in their order.
  std::vector<std::string> names(const std::string& folder, std::string_view prefix);

 private:
  std::map<std::string, std::vector<std::string>> names_;
};

/// One use of one file. Errors are the operating system's own, those of reading the file, and the
/// time-out of the access queue.
class AccessQueue final : public runtime::Object {
 public:
  static constexpr double kAccessTimeout = 30.0;
  static constexpr double kLifeDurationThreshold = 35.0;

  /// Times in seconds.
  explicit AccessQueue(const std::string& path, bool write = false,
                       double access_timeout = kAccessTimeout,
                       double life_duration_threshold = kLifeDurationThreshold);

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(data_); }
  void drop_references() noexcept override { data_ = runtime::Value(); }

  /// Waits for the turn and reads the file; a missing one counts as an empty map. The value may be
  /// edited in place until `leave`.
  runtime::Value enter();
  /// Writes the data back when asked to, then gives the turn up in any case.
  void leave();

  [[nodiscard]] const runtime::Value& data() const noexcept { return data_; }
  /// What `leave` writes.
  void set_data(runtime::Value data) { data_ = std::move(data); }
  /// What `leave` writes instead: the finished text of the file, in UTF-8.
  void set_content(std::string content) { content_ = std::move(content); }

  // The steps of a turn, for callers that wait for many files at once.

  /// Throws a file-not-found error when the data file's folder is missing.
  void begin();
  /// Takes the next step; returns the seconds to wait before the one after it, nothing once it is
  /// our turn. Throws the time-out; after any other failure the place is given up.
  [[nodiscard]] std::optional<double> advance(FolderListing& listing);
  /// Waits step by step, without reading the file.
  void assert_access();
  /// The file's content, or an empty map when there is no file.
  [[nodiscard]] runtime::Value read() const;
  /// Gives the place up: first the ticket, then the lock if no other editor is left.
  void remove_ticket();
  void remove_lock(FolderListing& listing);
  void release_access();
  /// Gives the place up after a failure, if one was taken; problems in doing so are ignored.
  void abandon() noexcept;

  /// Paths of the tickets that count, in the order of turns; outdated ones are removed.
  [[nodiscard]] std::vector<std::string> editors_sequence(FolderListing& listing);
  /// Removes a marker older than the threshold; trouble with it is ignored.
  void delete_outdated(const std::string& marker);

  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  [[nodiscard]] const std::string& directory() const noexcept { return directory_; }
  [[nodiscard]] const std::string& filename() const noexcept { return filename_; }
  [[nodiscard]] std::string path_lock() const { return path_ + ".lock"; }
  [[nodiscard]] std::string path_id() const { return path_ + ".id." + ticket_; }

  bool write;
  double access_timeout;
  double life_duration_threshold;

 private:
  enum class Phase { idle, lock, turn, inside };

  void sleep(double seconds);
  [[nodiscard]] bool sees_no_lock();
  void take_place();
  [[nodiscard]] std::optional<double> wait_for_lock();
  [[nodiscard]] std::optional<double> wait_for_turn(FolderListing& listing);

  std::string path_;
  std::string directory_;
  std::string filename_;
  std::string ticket_;
  runtime::Value data_;
  std::optional<std::string> content_;
  Phase phase_ = Phase::idle;
  double waited_for_lock_ = 0;
  double waited_for_turn_ = 0;
  bool marked_ = false;
  bool was_slow_ = false;
};

/// Runs `body(turn)` in a turn at the file. `turn.data()` is its content; with `write` it is
/// written back in any case, so a body that gives up leaves it as it was. Errors of the body and
/// of the turn propagate.
template <class Body>
void with_turn(const std::string& path, bool write, Body&& body) {
  AccessQueue turn(path, write);
  turn.enter();
  try {
    body(turn);
  } catch (...) {
    turn.leave();
    throw;
  }
  turn.leave();
}

}  // namespace kavel::foundation
