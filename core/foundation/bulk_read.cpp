#include "core/foundation/bulk_read.h"

#include <utility>

#include "core/foundation/access_queue.h"
#include "core/foundation/bulk_turns.h"
#include "core/foundation/failure.h"
#include "core/foundation/json_file.h"

namespace kavel::foundation {

std::vector<TurnContent> read_in_turns(const std::vector<std::string>& paths,
                                       const std::function<void(const std::string&)>& unreadable) {
  std::vector<TurnContent> contents(paths.size());
  auto failures = run_in_turns(paths, [&](std::size_t index, AccessQueue& turn) {
    const std::exception_ptr failure = failure_of([&] { contents[index].data = turn.read(); });
    if (!failure) return;
    if (unreadable && is_no_json(failure)) unreadable(turn.path());
    std::rethrow_exception(failure);
  });
  for (std::size_t index = 0; index < paths.size(); ++index) {
    contents[index].error = std::move(failures[index]);
  }
  return contents;
}

}  // namespace kavel::foundation
