// The list of records that a user switches between, newest first, possibly led by a working copy
// that is not saved yet (a promise).
#pragma once

#include <cstdint>

#include "core/projects/record.h"

namespace kavel::projects {

class EditToggle final : public runtime::Object {
 public:
  using Records = runtime::List<runtime::Ref<Record>>;

  /// What a user works at.
  struct View {
    runtime::Ref<Record> promise;
    runtime::Ref<Record> shown;
  };

  /// Filled from the history.
  explicit EditToggle(Uplink<HistoryPort> history);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;
  [[nodiscard]] runtime::Object* owner() const noexcept override { return history_.owner(); }

  [[nodiscard]] const Uplink<HistoryPort>& history() const noexcept { return history_; }
  [[nodiscard]] const runtime::Ref<Records>& records() const noexcept { return records_; }
  /// The record shown for editing; an empty promise is made when there is none.
  [[nodiscard]] runtime::Ref<Record> current();
  /// The record shown for editing, or null.
  [[nodiscard]] const runtime::Ref<Record>& shown() const noexcept { return current_; }

  /// The promise in front, or null, and the record shown, or null.
  [[nodiscard]] View view() const;

  /// Makes the record at `index` current, dropping the edits of a promise that was. Nothing happens
  /// for an index outside the list.
  void switch_to(std::int64_t index);
  void clear() noexcept;
  /// Takes the history's records anew; the newest becomes current.
  void update();
  /// The same after somebody else edited the project: a promise stays in front with its edits, and
  /// what is shown stays so.
  void refresh(const View& before);
  /// The same with `promise` in front and current.
  void set_promise(runtime::Ref<Record> promise);

 private:
  Uplink<HistoryPort> history_;
  const runtime::Ref<Records> records_;
  runtime::Ref<Record> current_;
};

}  // namespace kavel::projects
