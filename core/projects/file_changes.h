// What a synchronisation does to the files of projects: those that the server edited are replaced,
// those that it does not have any more are removed. Each file is changed in a turn of its own; the
// turns overlap.
//
// Nobody's work may be lost on the way. Within its turn each file is looked at once more, because
// another program may have edited it since it was read. A file whose content would be gone is
// copied into the folder ".replaced" beside it first; from there it can be copied back.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/foundation/json.h"
#include "core/projects/document.h"

namespace kavel::projects {

inline constexpr const char* kReplacedFolder = ".replaced";

struct FileChange {
  enum class Outcome {
    /// Nothing happened; `failure` says why.
    failed,
    done,
    /// The file holds a newer edit and stays.
    edited,
    /// The file is something else than a project of this host application and stays.
    foreign,
    /// The document was changed while its file was: what is saved next stands in the file.
    busy,
  };

  /// The state to be written, or the last one known of what is to be removed.
  runtime::Ref<Document> document;
  std::string filename;
  /// The time of an edit that the server is known to have: such a file holds nothing of our own,
  /// unless it was changed behind the back of the collection.
  std::optional<double> known = std::nullopt;
  /// What the collection's own document held when the change was decided; empty without one.
  foundation::Json before = {};

  Outcome outcome = Outcome::failed;
  /// What stands in the file afterwards, as far as a project of ours does.
  foundation::Json content = {};
  /// Path of the copy of what the file held, empty when there was nothing to be kept.
  std::string kept = {};
  std::exception_ptr failure = nullptr;
};

/// Writes each document to its file and says how that went.
void write_files(std::vector<FileChange>& changes);
/// Removes the file of each document; a missing one counts as removed.
void remove_files(std::vector<FileChange>& changes);

/// Whether `local`, the data of a document, holds what `other` lacks: records, or fields with other
/// values. Which record is selected, the mark of deletion and times of edits do not count.
[[nodiscard]] bool holds_more(const foundation::Json& local, const foundation::Json& other);

/// Logs what a user should know: "{}" of `kept_message` stands for the project's name and the path
/// of the copy.
void log_changes(const std::vector<FileChange>& changes, std::string_view kept_message);

}  // namespace kavel::projects
