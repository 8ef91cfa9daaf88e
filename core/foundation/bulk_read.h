// Reading many files, each in a turn of its own; the turns overlap (see bulk_turns.h).
#pragma once

#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "core/runtime/value.h"

namespace kavel::foundation {

/// What a turn at one file brought.
struct TurnContent {
  /// The parsed content; an empty map for a missing file.
  runtime::Value data;
  /// Why there is no data; null when there is.
  std::exception_ptr error;
};

/// The contents of `paths`, in their order. Failures are answered file by file; interrupts pass,
/// after all places were given up. `unreadable` is called for each file whose content is no JSON,
/// while it is still its turn.
[[nodiscard]] std::vector<TurnContent> read_in_turns(
    const std::vector<std::string>& paths,
    const std::function<void(const std::string& path)>& unreadable = {});

}  // namespace kavel::foundation
