#include "core/projects/record.h"

#include "core/projects/fields.h"

namespace kavel::projects {

using foundation::Json;
using runtime::Ref;

Record::Record(Uplink<HistoryPort> history, const Json& data, std::int64_t timestamp)
    : timestamp(timestamp), history_(std::move(history)) {
  apply(data);
  initial_data_ = this->data();
}

void Record::each_reference(runtime::ReferenceVisitor& visitor) const {
  history_.each_reference(visitor);
  visitor(export_);
  visitor(rules_);
  visitor(pattern_);
}

void Record::apply(const Json& data) {
  require_map(data, "a record");
  std::string new_author = text_field(data, "author");
  std::string new_comment = text_field(data, "comment");
  auto new_export =
      at_place("export", [&] { return runtime::make<RecordExport>(map_field(data, "export")); });
  auto new_rules = runtime::make<RuleList>(array_field(data, "rules"));
  auto new_pattern = runtime::make<RuleTree>();
  new_pattern->load(array_field(data, "pattern"), *new_rules);
  std::swap(author, new_author);
  std::swap(comment, new_comment);
  std::swap(export_, new_export);
  std::swap(rules_, new_rules);
  std::swap(pattern_, new_pattern);
}

Ref<Record> Record::clone() const { return runtime::make<Record>(history_, data(), timestamp); }

void Record::save() {
  if (history_.port().save_record(clone())) reset();
}

void Record::select() const {
  if (!is_promise()) history_.port().select(timestamp);
}

bool Record::is_selected() const { return history_.port().selected() == timestamp; }

Json Record::data() const {
  return Json::Map{{"export", export_->data()},
                   {"rules", rules_->data()},
                   {"pattern", pattern_->children_data()},
                   {"author", author},
                   {"comment", comment}};
}

}  // namespace kavel::projects
