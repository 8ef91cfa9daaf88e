// The saved states of one project, by the time of saving, and which of them is selected.
//
// Saving is entered once at a time in this process: who finds a save in progress is refused at once
// and not queued. Between processes the document's file is guarded by its access queue.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "core/foundation/json.h"
#include "core/projects/edit_toggle.h"
#include "core/projects/ports.h"
#include "core/projects/record.h"
#include "core/runtime/threads.h"

namespace kavel::projects {

class History final : public runtime::Object, public HistoryPort {
 public:
  struct Entry {
    std::int64_t timestamp;
    runtime::Ref<Record> record;
  };
  /// Records read from a document, not yet taken over.
  struct Content {
    std::vector<Entry> records;
    std::int64_t pointer = 0;
  };

  explicit History(Uplink<DocumentPort> document);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;
  [[nodiscard]] runtime::Object* owner() const noexcept override { return document_.owner(); }

  [[nodiscard]] const Uplink<DocumentPort>& document() const noexcept { return document_; }
  [[nodiscard]] runtime::Lock& lock() const noexcept { return *saving_; }
  [[nodiscard]] const runtime::Ref<EditToggle>& edit_toggle() const noexcept { return toggle_; }
  /// In order of insertion.
  [[nodiscard]] const std::vector<Entry>& entries() const noexcept { return entries_; }
  /// Newest insertion first.
  [[nodiscard]] std::vector<runtime::Ref<Record>> records() override;
  /// Timestamp of the selected record, 0 for none; always that of a record.
  [[nodiscard]] std::int64_t pointer() const noexcept { return pointer_; }
  [[nodiscard]] std::optional<std::int64_t> selected() override { return pointer_; }
  void select(std::int64_t timestamp) override;
  /// Selects the record whose timestamp equals a number of any kind; ignored for anything else.
  void select_number(const foundation::Json& number);
  /// Selects the stored record that equals `record`, rather the one of its own timestamp, else the
  /// newest.
  void select_record(const Record& record);
  /// A copy of the selected record, an empty promise when there is none.
  [[nodiscard]] runtime::Ref<Record> get_record() const;
  /// A new record without content.
  [[nodiscard]] runtime::Ref<Record> make_empty() const;

  /// Removes every record.
  void clear();
  /// Removes every record but the selected one.
  void bake();
  /// Reads "records" and "selected_record" of a document's data. Keys that are no timestamps are
  /// skipped; throws, naming the record, for a record that cannot be read.
  [[nodiscard]] Content read(const foundation::Json& file_data) const;
  void assign(Content content);
  void load(const foundation::Json& file_data) { assign(read(file_data)); }

  /// Stores `record` under the current second, selects it and saves the document. Returns false
  /// when a save is in progress. What the document's save throws comes out after the release.
  bool save_record(const runtime::Ref<Record>& record) override;

  /// Whether `value` is a number or a text that reads as one.
  [[nodiscard]] static bool is_timestamp(const foundation::Json& value);
  /// The record that a document's data selects among `records`.
  [[nodiscard]] static std::int64_t choose_pointer(const foundation::Json& file_data,
                                                   const std::vector<Entry>& records);
  /// Timestamp texts and record data, in order of insertion.
  [[nodiscard]] foundation::Json data() const;

 private:
  Uplink<DocumentPort> document_;
  const LinkEnd<HistoryPort> links_{*this, *this};
  std::vector<Entry> entries_;
  std::int64_t pointer_ = 0;
  const std::unique_ptr<runtime::Lock> saving_;
  runtime::Ref<EditToggle> toggle_;
};

}  // namespace kavel::projects
