#include "core/checks/class_loader.h"

#include <algorithm>
#include <exception>
#include <tuple>
#include <utility>

#include "core/facade/constants.h"
#include "core/foundation/logger.h"
#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::checks {
namespace {

using Note = ClassReport::Note;
using Outcome = ClassReport::Outcome;

/// Fewer classes in the method resolution order mean that a class derives straight from the base:
/// hosts and projects write such classes for others to derive from.
constexpr std::size_t kCheckLineage = 4;

/// Position of a category among the known ones; the same for all others, which come after them.
std::size_t group(const std::string& category) {
  const auto found = std::ranges::find(facade::kCheckCategories, std::string_view(category),
                                       &facade::Constant::text);
  return static_cast<std::size_t>(found - std::ranges::begin(facade::kCheckCategories));
}

}  // namespace

void ClassLoader::search(const CheckFolder& folder) {
  if (!folder.enabled) {
    add_report({.file = folder.path, .outcome = Outcome::kDisabled});
    return;
  }
  visited_.clear();
  search_folder(folder.path);
}

void ClassLoader::search_folder(const std::string& path) {
  std::vector<runtime::ModuleEntry> entries;
  Note note{.file = path};
  try {
    if (!visited_.insert(runtime::services().files->resolve(path)).second) {
      note.outcome = Outcome::kDuplicate;
      note.reason = "the folder was searched already";
      return add_report(std::move(note));
    }
    // The interpreter takes a folder that cannot be read for an empty one.
    (void)runtime::services().files->list(path);
    entries = runtime::services().modules->list(path);
  } catch (...) {
    (void)note_failure(note, Outcome::kFailed);
    foundation::log_warning(foundation::format("Lost Check Directory - {}", {path}));
    return add_report(std::move(note));
  }
  for (const runtime::ModuleEntry& entry : entries) {
    if (entry.is_package) {
      search_folder(runtime::services().files->join(path, entry.name));
    } else {
      search_module(entry);
    }
  }
}

void ClassLoader::search_module(const runtime::ModuleEntry& entry) {
  Note note{.module = entry.name};
  std::vector<std::unique_ptr<CheckClassPort>> classes;
  try {
    note.file = runtime::services().modules->file(entry);
    const Value module = runtime::services().modules->load(entry, modules_);
    classes = source_.check_classes(module);
  } catch (...) {
    const std::string error = note_failure(note, Outcome::kFailed);
    foundation::log_warning(foundation::format("Import Failed: {} - {}", {entry.name, error}));
    return add_report(std::move(note));
  }
  note.outcome = Outcome::kLoaded;
  add_report(note);
  for (const auto& found : classes) examine(*found, {.file = note.file, .module = entry.name});
}

void ClassLoader::examine(const CheckClassPort& found, Note note) {
  const Value& check_class = found.object();
  const bool is_known =
      std::ranges::any_of(noted_, [&](const Value& other) { return other.same(check_class); });
  try {
    classify(found, is_known, note);
  } catch (...) {
    // Its metaclass answers some questions with an exception.
    (void)note_failure(note, Outcome::kDenied);
    if (!is_known) denied.push_back(check_class);
  }
  if (is_known) return;
  noted_.push_back(check_class);
  add_report(std::move(note));
}

void ClassLoader::classify(const CheckClassPort& found, bool is_known, Note& note) {
  note.class_name = found.source_name();
  if (found.lineage() < kCheckLineage) {
    note.outcome = Outcome::kIntermediate;
    note.reason = "derives straight from Check.Base";
  } else if (const auto fault = foundation::find_check_fault(*found.probe())) {
    note.outcome = Outcome::kDenied;
    note.reason = fault->reason;
    note.traceback = fault->traceback;
    denied.push_back(found.object());
  } else if (!is_known) {
    accept(found, note);
  }
}

void ClassLoader::accept(const CheckClassPort& found, Note& note) {
  try {
    Accepted accepted{.check_class = found.object(),
                      .class_id = found.class_id(),
                      .category = runtime::services().unicode->lower(found.category()),
                      .sort_index = found.sort_index()};
    note.class_id = accepted.class_id;
    const auto [place, is_new] = places_.emplace(accepted.class_id, note.file);
    note.outcome = is_new ? Outcome::kLoaded : Outcome::kDuplicate;
    if (is_new) {
      accepted_.push_back(std::move(accepted));
    } else {
      note.reason = "the class id is taken by a check of " + place->second;
    }
  } catch (...) {
    // It answered the test, but not a second time.
    (void)note_failure(note, Outcome::kDenied);
    denied.push_back(found.object());
  }
}

std::vector<std::pair<std::string, Value>> ClassLoader::sorted() const {
  std::vector<Accepted> classes = accepted_;
  std::ranges::stable_sort(classes, [](const Accepted& left, const Accepted& right) {
    return std::tuple(group(left.category), std::string_view(left.category), left.sort_index) <
           std::tuple(group(right.category), std::string_view(right.category), right.sort_index);
  });
  std::vector<std::pair<std::string, Value>> result;
  result.reserve(classes.size());
  for (Accepted& entry : classes) {
    result.emplace_back(std::move(entry.class_id), std::move(entry.check_class));
  }
  return result;
}

void ClassLoader::add_report(Note note) {
  report.push_back(runtime::make<ClassReport>(std::move(note)));
}

std::string ClassLoader::note_failure(Note& note, const char* outcome) {
  const auto fault = runtime::services().faults->report_foreign(std::current_exception());
  if (!fault) throw;
  note.outcome = outcome;
  note.reason = fault->class_name + ": " + fault->message;
  note.traceback = fault->traceback;
  return fault->class_name;
}

}  // namespace kavel::checks
