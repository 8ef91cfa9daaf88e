// One complete state of a project's content.
#pragma once

#include <cstdint>
#include <string>

#include "core/foundation/json.h"
#include "core/projects/ports.h"
#include "core/projects/record_export.h"
#include "core/projects/rule_list.h"
#include "core/projects/rule_tree.h"

namespace kavel::projects {

class Record final : public runtime::Object {
 public:
  /// From {"export", "rules", "pattern", "author", "comment"}, of which any may be missing; throws
  /// for values of a wrong type. A timestamp below 1 means that it is not saved yet.
  Record(Uplink<HistoryPort> history, const foundation::Json& data, std::int64_t timestamp = 0);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override { history_.drop(); }
  [[nodiscard]] runtime::Object* owner() const noexcept override { return history_.owner(); }

  [[nodiscard]] const Uplink<HistoryPort>& history() const noexcept { return history_; }
  [[nodiscard]] const runtime::Ref<RecordExport>& export_settings() const noexcept {
    return export_;
  }
  [[nodiscard]] const runtime::Ref<RuleList>& rules() const noexcept { return rules_; }
  [[nodiscard]] const runtime::Ref<RuleTree>& pattern() const noexcept { return pattern_; }

  /// Replaces the content; export settings, rules and pattern are new objects then. Nothing changes
  /// when `data` is refused.
  void apply(const foundation::Json& data);
  /// Drops the edits made since it was built.
  void reset() { apply(initial_data_); }
  /// A copy of the current content in the same history, with the same timestamp.
  [[nodiscard]] runtime::Ref<Record> clone() const;
  /// Stores a copy in the history and drops the edits here; when the history refuses because it is
  /// saving already, the edits stay.
  void save();
  /// Makes it the history's selected record, unless it is a promise.
  void select() const;

  [[nodiscard]] bool is_selected() const;
  /// Whether it is not saved yet.
  [[nodiscard]] bool is_promise() const noexcept { return timestamp < 1; }
  [[nodiscard]] bool is_changed() const { return !(data() == initial_data_); }
  [[nodiscard]] foundation::Json data() const;
  /// The data as it was built.
  [[nodiscard]] const foundation::Json& initial_data() const noexcept { return initial_data_; }

  /// Seconds since the epoch.
  std::int64_t timestamp;
  std::string author;
  std::string comment;

 private:
  Uplink<HistoryPort> history_;
  runtime::Ref<RecordExport> export_;
  runtime::Ref<RuleList> rules_;
  runtime::Ref<RuleTree> pattern_;
  foundation::Json initial_data_;
};

}  // namespace kavel::projects
