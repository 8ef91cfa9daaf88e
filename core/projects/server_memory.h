// What the shared server is known to have of a collection.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

namespace kavel::projects {

/// A state of a project is told by the name of its file and the time of its edit, in seconds since
/// the epoch.
///
/// An answer does not say which request it is for. So what counts as sent is what the oldest
/// request since the last answer carried: a project may be kept for longer than needed, but none is
/// erased before the server could know of it.
class ServerMemory {
 public:
  using EditTimes = std::map<std::string, double>;

  /// A request was made that carries these.
  void note_request(EditTimes carried) {
    if (waits_for_answer_) return;
    sent_ = std::move(carried);
    waits_for_answer_ = true;
  }
  /// An answer came that lists these.
  void note_answer(EditTimes listed) {
    listed_ = std::move(listed);
    waits_for_answer_ = false;
  }

  /// Whether the server cannot know of a state, so that its absence in an answer says nothing.
  /// False as long as no request was made.
  [[nodiscard]] bool is_unsent(const std::string& filename, double edit_time) const {
    return sent_ && !has(*sent_, filename, edit_time) && !has(listed_, filename, edit_time);
  }
  /// The time of the edit that the last answer listed for a file.
  [[nodiscard]] std::optional<double> listed(const std::string& filename) const {
    const auto found = listed_.find(filename);
    return found == listed_.end() ? std::nullopt : std::optional(found->second);
  }

 private:
  static bool has(const EditTimes& times, const std::string& filename, double edit_time) {
    const auto found = times.find(filename);
    return found != times.end() && found->second == edit_time;
  }

  std::optional<EditTimes> sent_;
  EditTimes listed_;
  bool waits_for_answer_ = false;
};

}  // namespace kavel::projects
