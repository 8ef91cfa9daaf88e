#include "core/projects/file_changes.h"

#include <algorithm>
#include <array>
#include <functional>

#include "core/foundation/access_queue.h"
#include "core/foundation/bulk_turns.h"
#include "core/foundation/errors.h"
#include "core/foundation/failure.h"
#include "core/foundation/json_file.h"
#include "core/foundation/json_writer.h"
#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::projects {
namespace {

using foundation::AccessQueue;
using foundation::Json;
using Outcome = FileChange::Outcome;

/// Changes that are logged one by one; a thousand of them would only hide what else happened.
constexpr std::size_t kLoggedChanges = 20;
constexpr std::array<std::string_view, 4> kUncounted = {"edit_timestamp", "selected_record",
                                                        "deleted", "filename"};

/// What stands in a file during its turn.
struct OnDisk {
  bool exists = false;
  bool is_link = false;
  /// A map, if it is one.
  std::optional<Json> content;

  /// The time of the edit, if it is a project of `target`.
  [[nodiscard]] std::optional<double> edit_time(const std::string& target) const {
    if (!content || content->text_or("target", "") != target) return std::nullopt;
    const Json* version = content->find("version");
    const bool is_project =
        version != nullptr && version->integer() != nullptr && *version->integer() >= 0;
    return is_project ? std::optional(Document::edit_time_of(*content)) : std::nullopt;
  }
};

OnDisk look_at(const AccessQueue& turn) {
  const auto& services = runtime::services();
  OnDisk found{.exists = services.files->exists(turn.path()),
               .is_link = services.files->is_link(turn.path()),
               .content = {}};
  if (!found.exists) return found;
  const auto failure = foundation::failure_of([&] {
    Json json = services.json->to_json(turn.read());
    if (json.map() != nullptr) found.content = std::move(json);
  });
  const bool is_unusable = failure && (foundation::is_no_json(failure) ||
                                       services.faults->is(failure, "RecursionError"));
  if (failure && !is_unusable) std::rethrow_exception(failure);
  return found;
}

/// Whether the file stays as it is, which `change` then tells: `is_newer` compares the time of its
/// edit with that of the change.
template <class IsNewer>
bool stays(FileChange& change, const OnDisk& found, IsNewer is_newer) {
  // What cannot be read is of no use to anybody. A link that somebody else made could lead to any
  // file of the user's, so it must lead to a project.
  if (!found.content && !found.is_link) return false;
  const std::optional<double> edit_time = found.edit_time(change.document->target());
  if (!edit_time) {
    change.outcome = Outcome::foreign;
  } else if (is_newer(*edit_time, change.document->edit_timestamp)) {
    change.outcome = Outcome::edited;
    change.content = *found.content;
  }
  return change.outcome != Outcome::failed;
}

/// Whether the new content would lose something of what the file holds.
bool has_own_content(const FileChange& change, const OnDisk& found) {
  if (!found.exists) return false;
  if (!found.content) return true;
  // Edited by hand, a file may still bear the time of the edit before.
  const bool is_known =
      change.known == Document::edit_time_of(*found.content) && *found.content == change.before;
  return !is_known && holds_more(*found.content, change.content);
}

void write_file(FileChange& change, const AccessQueue& turn) {
  const OnDisk found = look_at(turn);
  if (stays(change, found, std::greater_equal<>())) return;
  change.content = change.document->file_data();
  if (has_own_content(change, found)) {
    change.kept = foundation::copy_beside(turn.path(), kReplacedFolder);
  }
  std::string text;
  foundation::append_json(text, change.content, 0);
  foundation::write_content(turn.path(), text, foundation::random_ticket());
  change.outcome = Outcome::done;
}

void remove_file(FileChange& change, const AccessQueue& turn) {
  const OnDisk found = look_at(turn);
  if (stays(change, found, std::greater<>())) return;
  if (found.exists) {
    if (!change.document->deleted()) {
      change.kept = foundation::copy_beside(turn.path(), kReplacedFolder);
    }
    runtime::services().files->remove(turn.path());
  }
  change.outcome = Outcome::done;
}

void change_files(std::vector<FileChange>& changes,
                  const std::function<void(FileChange&, const AccessQueue&)>& work) {
  runtime::Files& files = *runtime::services().files;
  std::vector<std::string> paths;
  std::vector<FileChange*> waiting;
  for (FileChange& change : changes) {
    change.failure = foundation::failure_of([&] {
      foundation::assert_that(files.split(change.filename).second == change.filename,
                              "\"" + change.filename + "\" is no name of a file");
      paths.push_back(files.join(change.document->directory(), change.filename));
      waiting.push_back(&change);
    });
  }
  auto failures = foundation::run_in_turns(
      paths, [&](std::size_t index, AccessQueue& turn) { work(*waiting[index], turn); });
  for (std::size_t index = 0; index < waiting.size(); ++index) {
    waiting[index]->failure = std::move(failures[index]);
  }
}

void log_change(const FileChange& change, std::string_view kept_message) {
  using foundation::format;
  switch (change.outcome) {
    case Outcome::done:
      // By the name that it had here: the new one may be unknown to the user.
      foundation::log_warning(format(
          kept_message, {change.before.text_or("name", change.document->name()), change.kept}));
      break;
    case Outcome::edited:
      foundation::log_info(format("\"{}\" was edited here meanwhile and stays", {change.filename}));
      break;
    case Outcome::foreign:
      foundation::log_warning(
          format("\"{}\" stays: it holds no project of this host application", {change.filename}));
      break;
    case Outcome::busy:
      foundation::log_info(format("\"{}\" is being changed and stays", {change.filename}));
      break;
    case Outcome::failed:
      foundation::log_warning(format("\"{}\" could not be synchronised", {change.filename}));
      foundation::log_failure(change.failure);
      break;
  }
}

bool has_all(const Json& local, const Json& other) {
  if (local.map() == nullptr || other.map() == nullptr) return local == other;
  return std::ranges::all_of(*local.map(), [&other](const auto& entry) {
    const Json* found = other.find(entry.first);
    return found != nullptr && *found == entry.second;
  });
}

}  // namespace

bool holds_more(const Json& local, const Json& other) {
  return std::ranges::any_of(*local.map(), [&other](const auto& entry) {
    const auto& [key, value] = entry;
    if (std::ranges::find(kUncounted, key) != kUncounted.end()) return false;
    const Json* found = other.find(key);
    if (found == nullptr) return true;
    return key == "records" ? !has_all(value, *found) : !(value == *found);
  });
}

void write_files(std::vector<FileChange>& changes) { change_files(changes, write_file); }

void remove_files(std::vector<FileChange>& changes) { change_files(changes, remove_file); }

void log_changes(const std::vector<FileChange>& changes, std::string_view kept_message) {
  std::size_t unusual = 0;
  for (const FileChange& change : changes) {
    const bool is_plain = change.outcome == Outcome::done && change.kept.empty();
    if (!is_plain && ++unusual <= kLoggedChanges) log_change(change, kept_message);
  }
  if (unusual <= kLoggedChanges) return;
  foundation::log_warning(
      foundation::format("{} more projects were kept, left as they are, or not synchronised",
                         {std::to_string(unusual - kLoggedChanges)}));
}

}  // namespace kavel::projects
