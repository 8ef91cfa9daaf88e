// What the parts of a project call on the objects above them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/foundation/json.h"
#include "core/projects/uplink.h"

namespace kavel::projects {

class Document;
class Record;

/// What a record and an edit toggle call on their history.
class HistoryPort : public UpwardPort<HistoryPort> {
 public:
  /// Timestamp of the selected record; nothing or 0 for none.
  [[nodiscard]] virtual std::optional<std::int64_t> selected() = 0;
  /// Selects the record of that timestamp; ignored when there is none.
  virtual void select(std::int64_t timestamp) = 0;
  /// Stores `record`; false when a save is in progress already and nothing was stored.
  virtual bool save_record(const runtime::Ref<Record>& record) = 0;
  /// All records, newest first.
  [[nodiscard]] virtual std::vector<runtime::Ref<Record>> records() = 0;
};

/// What a history calls on its document.
class DocumentPort : public UpwardPort<DocumentPort> {
 public:
  /// Throws when the document cannot take new records.
  virtual void assert_editable() {}
  virtual void save() = 0;
};

/// What a document calls on its collection.
class CollectionPort : public UpwardPort<CollectionPort> {
 public:
  virtual void save_project(const runtime::Ref<Document>& document) = 0;
};

/// What the projects of a host use of the facade.
class ApiPort : public UpwardPort<ApiPort> {
 public:
  /// The host application, from the environment.
  [[nodiscard]] virtual std::string target() = 0;
  [[nodiscard]] virtual std::string projects_directory() = 0;
  /// Fires the notification that a project was saved.
  virtual void announce_saved() = 0;

  /// File name of the current project, from the user's settings.
  [[nodiscard]] virtual std::string current_project() = 0;
  /// Changes it and writes the settings.
  virtual void remember_project(const std::string& filename) = 0;
  /// Whether checks are configured by the project rather than by the user.
  [[nodiscard]] virtual bool is_project_mode() = 0;
  /// Loads the export component with a record's options and switches.
  virtual void load_export(const foundation::Json& options, const foundation::Json& flags) = 0;
};

/// What a project loads its record into.
class MatcherPort : public UpwardPort<MatcherPort> {
 public:
  virtual void set_pattern(const runtime::Ref<Record>& record) = 0;
  /// How often the check classes that the pattern uses were loaded.
  [[nodiscard]] virtual std::int64_t check_reloads() = 0;
};

}  // namespace kavel::projects
