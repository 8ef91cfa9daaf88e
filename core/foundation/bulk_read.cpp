#include "core/foundation/bulk_read.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "core/foundation/access_queue.h"
#include "core/foundation/json_file.h"
#include "core/foundation/logger.h"
#include "core/runtime/services.h"

namespace kavel::foundation {
namespace {

constexpr double kNever = std::numeric_limits<double>::infinity();
/// Sums of steps that mean the same moment differ by rounding.
constexpr double kSameMoment = 1e-6;

class BulkRead {
 public:
  BulkRead(const std::vector<std::string>& paths,
           const std::function<void(const std::string&)>& unreadable)
      : unreadable_(unreadable), contents_(paths.size()) {
    for (const std::string& path : paths) waiting_.push_back({runtime::make<AccessQueue>(path)});
  }

  std::vector<TurnContent> run() {
    try {
      for (std::size_t index = 0; index < waiting_.size(); ++index) {
        attempt(index, [&] { waiting_[index].queue->begin(); });
      }
      for (double now = 0; now != kNever; now = sleep_from(now)) take_round(now);
    } catch (...) {
      for (Waiting& file : waiting_) file.queue->abandon();
      throw;
    }
    return std::move(contents_);
  }

 private:
  struct Waiting {
    runtime::Ref<AccessQueue> queue;
    /// Seconds of sleep after which the next step is due; never once the file is done.
    double due = 0;
  };

  /// Runs `step` for a file; its failure ends that file only.
  template <class Step>
  bool attempt(std::size_t index, Step step) {
    try {
      step();
      return true;
    } catch (...) {
      contents_[index].error = std::current_exception();
      waiting_[index].due = kNever;
      if (!runtime::services().faults->report(contents_[index].error)) throw;
      return false;
    }
  }

  void take_round(double now) {
    std::vector<std::size_t> finished;
    FolderListing before;
    for (std::size_t index = 0; index < waiting_.size(); ++index) {
      if (waiting_[index].due > now + kSameMoment) continue;
      if (advance(index, now, before)) finished.push_back(index);
    }
    for (const std::size_t index : finished) read(index);
    FolderListing after;
    for (const std::size_t index : finished) {
      guarded([&] { waiting_[index].queue->remove_lock(after); });
    }
  }

  /// Whether the file's turn has come.
  bool advance(std::size_t index, double now, FolderListing& listing) {
    Waiting& file = waiting_[index];
    std::optional<double> pause;
    const bool going = attempt(index, [&] { pause = file.queue->advance(listing); });
    if (!going) return false;
    file.due = pause ? now + *pause : kNever;
    return !pause;
  }

  void read(std::size_t index) {
    AccessQueue& queue = *waiting_[index].queue;
    attempt(index, [&] { contents_[index].data = queue.read(); });
    if (unreadable_ && contents_[index].error && is_no_json(contents_[index].error)) {
      unreadable_(queue.path());
    }
    guarded([&] { queue.remove_ticket(); });
  }

  /// Sleeps until the next file is due and returns that moment, `kNever` when none is left.
  double sleep_from(double now) {
    const double next = std::ranges::min_element(waiting_, {}, &Waiting::due)->due;
    if (next != kNever) runtime::services().system->sleep(next - now);
    return next;
  }

  const std::function<void(const std::string&)>& unreadable_;
  std::vector<Waiting> waiting_;
  std::vector<TurnContent> contents_;
};

}  // namespace

std::vector<TurnContent> read_in_turns(const std::vector<std::string>& paths,
                                       const std::function<void(const std::string&)>& unreadable) {
  if (paths.empty()) return {};
  return BulkRead(paths, unreadable).run();
}

}  // namespace kavel::foundation
