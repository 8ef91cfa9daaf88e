// What the parts of a project call on the objects above them.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

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

}  // namespace kavel::projects
