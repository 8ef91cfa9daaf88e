#include "core/projects/history.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "core/projects/fields.h"
#include "core/runtime/services.h"

namespace kavel::projects {
namespace {

using foundation::Json;
using runtime::Ref;
using Entry = History::Entry;

std::optional<double> to_real(const Json& value) {
  if (value.text() != nullptr) return runtime::services().unicode->real_number(*value.text());
  if (const bool* boolean = value.boolean()) return *boolean ? 1.0 : 0.0;
  if (value.big_integer() != nullptr) return HUGE_VAL;
  return value.number();
}

/// Whole seconds; nothing for what is no number or too large to be kept exactly.
std::optional<std::int64_t> to_timestamp(const Json& value) {
  const std::optional<double> real = to_real(value);
  if (!real || !(std::abs(*real) <= static_cast<double>(kLargestInteger))) return std::nullopt;
  return static_cast<std::int64_t>(*real);
}

template <class Entries>
auto find_entry(Entries& entries, std::int64_t timestamp) {
  return std::ranges::find(entries, timestamp, &Entry::timestamp);
}

/// A known timestamp keeps its place, as in the interpreter's own maps.
void store(std::vector<Entry>& entries, std::int64_t timestamp, Ref<Record> record) {
  const auto found = find_entry(entries, timestamp);
  if (found == entries.end()) {
    entries.push_back({timestamp, std::move(record)});
  } else {
    std::swap(found->record, record);
  }
}

std::int64_t newest(const std::vector<Entry>& entries) {
  const auto found = std::ranges::max_element(entries, {}, &Entry::timestamp);
  return found == entries.end() ? 0 : found->timestamp;
}

}  // namespace

History::History(Uplink<DocumentPort> document)
    : document_(std::move(document)),
      saving_(runtime::services().threads->make_lock()),
      toggle_(runtime::make<EditToggle>(links_.link())) {}

void History::each_reference(runtime::ReferenceVisitor& visitor) const {
  document_.each_reference(visitor);
  for (const Entry& entry : entries_) visitor(entry.record);
  visitor(toggle_);
}

void History::drop_references() noexcept {
  std::vector<Entry> dropped;
  std::swap(dropped, entries_);
  pointer_ = 0;
  toggle_->clear();
  document_.drop();
}

std::vector<Ref<Record>> History::records() {
  std::vector<Ref<Record>> records;
  for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) {
    records.push_back(entry->record);
  }
  return records;
}

void History::select(std::int64_t timestamp) {
  if (find_entry(entries_, timestamp) != entries_.end()) pointer_ = timestamp;
}

void History::select_number(const Json& number) {
  const std::optional<double> wanted = number.number();
  const auto found = std::ranges::find_if(entries_, [&wanted](const Entry& entry) {
    return wanted == static_cast<double>(entry.timestamp);
  });
  if (found != entries_.end()) pointer_ = found->timestamp;
}

void History::select_record(const Record& record) {
  const Json wanted = record.data();
  std::optional<std::int64_t> found;
  for (const Entry& entry : entries_) {
    if (!(entry.record->data() == wanted)) continue;
    const bool own = entry.timestamp == record.timestamp;
    if (own || !found || entry.timestamp > *found) found = entry.timestamp;
    if (own) break;
  }
  if (found) pointer_ = *found;
}

Ref<Record> History::get_record() const {
  auto found = find_entry(entries_, pointer_);
  if (found == entries_.end()) found = find_entry(entries_, newest(entries_));
  return found == entries_.end() ? make_empty() : found->record->clone();
}

Ref<Record> History::make_empty() const {
  return runtime::make<Record>(links_.link(), Json::Map());
}

void History::clear() { assign({}); }

void History::bake() {
  Content content;
  const auto found = find_entry(entries_, pointer_);
  if (found != entries_.end()) content = {{*found}, pointer_};
  assign(std::move(content));
}

History::Content History::read(const Json& file_data) const {
  Content content;
  const Json stored = map_field(file_data, "records");
  for (const auto& [key, value] : *stored.map()) {
    const std::optional<std::int64_t> timestamp = to_timestamp(key);
    if (!timestamp) continue;
    store(content.records, *timestamp, at_place("record " + key, [&, &data = value] {
            return runtime::make<Record>(links_.link(), data, *timestamp);
          }));
  }
  content.pointer = choose_pointer(file_data, content.records);
  return content;
}

void History::assign(Content content) {
  std::swap(entries_, content.records);
  pointer_ = content.pointer;
  toggle_->update();
}

bool History::save_record(const Ref<Record>& record) {
  if (!saving_->try_acquire()) return false;
  const runtime::LockRelease guard(*saving_);
  document_.port().assert_editable();
  record->timestamp = static_cast<std::int64_t>(runtime::services().system->time());
  store(entries_, record->timestamp, record);
  pointer_ = record->timestamp;
  toggle_->update();
  document_.port().save();
  return true;
}

bool History::is_timestamp(const Json& value) { return to_real(value).has_value(); }

std::int64_t History::choose_pointer(const Json& file_data, const std::vector<Entry>& records) {
  const Json* stored = file_data.find("selected_record");
  const auto selected = stored == nullptr ? std::nullopt : to_timestamp(*stored);
  const bool known = selected && find_entry(records, *selected) != records.end();
  return known ? *selected : newest(records);
}

Json History::data() const {
  Json::Map data;
  for (const Entry& entry : entries_) {
    data.emplace_back(std::to_string(entry.timestamp), entry.record->data());
  }
  return data;
}

}  // namespace kavel::projects
