#include "core/foundation/bulk_turns.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "core/foundation/access_queue.h"
#include "core/foundation/failure.h"
#include "core/runtime/services.h"

namespace kavel::foundation {
namespace {

/// Files that are waited for at a time: as many as take `kBusySeconds` at the pace so far. A file
/// takes 10 ms on a disk, but several hundred on a share that is far away. Not fewer than some, as
/// those that others hold count, too.
constexpr std::size_t kFilesAtFirst = 50;
constexpr std::size_t kFilesAtLeast = 20;
constexpr std::size_t kFilesAtMost = 500;
constexpr double kBusySeconds = 10;
constexpr double kNever = std::numeric_limits<double>::infinity();
/// Sums of steps that mean the same moment differ by rounding.
constexpr double kSameMoment = 1e-6;

class BulkTurns {
 public:
  BulkTurns(const std::vector<std::string>& paths,
            const std::function<void(std::size_t, AccessQueue&)>& work)
      : paths_(paths), work_(work), failures_(paths.size()) {}

  std::vector<std::exception_ptr> run() {
    try {
      start_more();
      while (!waiting_.empty()) {
        sleep_until_due();
        const double start = runtime::services().system->monotonic();
        take_round();
        set_pace(runtime::services().system->monotonic() - start);
        std::erase_if(waiting_, [](const Waiting& file) { return file.due == kNever; });
        start_more();
      }
    } catch (...) {
      for (Waiting& file : waiting_) file.queue->abandon();
      throw;
    }
    return std::move(failures_);
  }

 private:
  struct Waiting {
    std::size_t index;
    runtime::Ref<AccessQueue> queue;
    /// Seconds of sleep after which the next step is due; never once the file is done.
    double due;
  };

  /// Runs `step` for a file; its failure ends that file only.
  template <class Step>
  bool attempt(std::size_t index, Step step) {
    failures_[index] = failure_of(step);
    return failures_[index] == nullptr;
  }

  void start_more() {
    for (; started_ < paths_.size() && waiting_.size() < files_at_once_; ++started_) {
      attempt(started_, [this] {
        auto queue = runtime::make<AccessQueue>(paths_[started_]);
        queue->begin();
        waiting_.push_back({started_, std::move(queue), now_});
      });
    }
  }

  void sleep_until_due() {
    const double next = std::ranges::min_element(waiting_, {}, &Waiting::due)->due;
    if (next > now_) runtime::services().system->sleep(next - now_);
    now_ = next;
  }

  void take_round() {
    std::vector<Waiting*> finished;
    FolderListing before;
    for (Waiting& file : waiting_) {
      if (file.due <= now_ + kSameMoment && advance(file, before)) finished.push_back(&file);
    }
    for (Waiting* file : finished) {
      attempt(file->index, [this, file] { work_(file->index, *file->queue); });
      guarded([file] { file->queue->remove_ticket(); });
    }
    FolderListing after;
    for (Waiting* file : finished) {
      guarded([file, &after] { file->queue->remove_lock(after); });
    }
  }

  /// Counts the seconds of a round, and how many files that pace allows.
  void set_pace(double seconds) {
    busy_ += seconds;
    const auto done = static_cast<double>(started_ - waiting_.size()) +
                      static_cast<double>(std::ranges::count(waiting_, kNever, &Waiting::due));
    if (done == 0) return;
    const double allowed = busy_ > 0 ? kBusySeconds * done / busy_ : kFilesAtMost;
    files_at_once_ =
        static_cast<std::size_t>(std::clamp<double>(allowed, kFilesAtLeast, kFilesAtMost));
  }

  /// Whether the file's turn has come.
  bool advance(Waiting& file, FolderListing& listing) {
    std::optional<double> pause;
    file.due = kNever;
    if (!attempt(file.index, [&] { pause = file.queue->advance(listing); })) return false;
    if (pause) file.due = now_ + *pause;
    return !pause;
  }

  const std::vector<std::string>& paths_;
  const std::function<void(std::size_t, AccessQueue&)>& work_;
  std::vector<std::exception_ptr> failures_;
  std::vector<Waiting> waiting_;
  /// Files that have been begun, from the first one on.
  std::size_t started_ = 0;
  std::size_t files_at_once_ = kFilesAtFirst;
  /// Seconds of work so far.
  double busy_ = 0;
  /// Seconds slept so far.
  double now_ = 0;
};

}  // namespace

std::vector<std::exception_ptr> run_in_turns(
    const std::vector<std::string>& paths,
    const std::function<void(std::size_t, AccessQueue&)>& work) {
  return BulkTurns(paths, work).run();
}

}  // namespace kavel::foundation
