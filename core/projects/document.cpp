#include "core/projects/document.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>

#include "core/foundation/file_name.h"
#include "core/foundation/json_file.h"
#include "core/foundation/logger.h"
#include "core/hierarchy/naming.h"
#include "core/projects/fields.h"
#include "core/runtime/services.h"

namespace kavel::projects {
namespace {

using foundation::Json;
using runtime::Ref;

/// The least step by which a time of edit grows, also when the clock stands behind it.
constexpr double kEditStep = 0.001;
/// Leaves room for the random digits and the extension in a safe file name.
constexpr std::size_t kMaximumStem = 180;
constexpr std::size_t kRandomDigits = 8;

std::int64_t read_version(const Json& data) {
  const Json* stored = data.find("version");
  if (stored == nullptr) return -1;
  return require_integer(*stored, "version", foundation::ErrorKind::assertion);
}

/// The fields of a document beside its records.
struct Fields {
  std::string name;
  std::string description;
  std::string target;
  bool deleted;
};

Fields read_fields(const Json& data) {
  return {.name = hierarchy::naming::space_filter(text_field(data, "name")),
          .description = text_field(data, "description"),
          .target = text_field(data, "target"),
          .deleted = boolean_field(data, "deleted", false)};
}

/// Another version may give the fields another form; what has ours is shown.
Fields read_known_fields(const Json& data) {
  return {.name = hierarchy::naming::space_filter(data.text_or("name", "")),
          .description = data.text_or("description", ""),
          .target = data.text_or("target", ""),
          .deleted = data.boolean_or("deleted", false)};
}

History::Content read_known_records(const History& history, const Json& data) {
  try {
    return history.read(data);
  } catch (const foundation::Error&) {
    return {};
  }
}

Json without_edit_time(const Json& data) {
  Json::Map kept;
  for (const auto& [key, value] : *data.map()) {
    if (key != "edit_timestamp") kept.emplace_back(key, value);
  }
  return kept;
}

}  // namespace

Document::Document(Uplink<CollectionPort> collection, std::string directory, std::string filename,
                   const Json& file_data)
    : collection_(std::move(collection)),
      directory_(std::move(directory)),
      filename_(filename),
      history_(runtime::make<History>(links_.link())) {
  apply(file_data);
  // What lies on the disk may be a copy that still bears the name of its original.
  if (!filename.empty()) filename_ = std::move(filename);
  if (!filename_.empty()) size_ = size_on_disk(file_path());
}

Ref<Document> Document::open(Uplink<CollectionPort> collection, const std::string& path) {
  const double size = size_on_disk(path);
  return from_file(std::move(collection), path, foundation::read_document(path, kMessages), size);
}

Ref<Document> Document::from_file(Uplink<CollectionPort> collection, const std::string& path,
                                  const foundation::Document& file, double size) {
  const auto [directory, filename] = runtime::services().files->split(path);
  auto document = runtime::make<Document>(std::move(collection), directory, filename, Json::Map());
  document->unread_ = !document->take_over(file);
  document->size_ = size;
  return document;
}

double Document::edit_time_of(const Json& file_data) {
  const Json* stored = file_data.find("edit_timestamp");
  const double time = stored == nullptr ? 0.0 : stored->number().value_or(0.0);
  return std::isfinite(time) ? time : 0.0;
}

double Document::size_on_disk(const std::string& path) {
  runtime::Files& files = *runtime::services().files;
  try {
    return files.exists(path) ? files.size(path) : 0.0;
  } catch (...) {
    // Another editor removed it meanwhile.
    if (!runtime::services().faults->is(std::current_exception(), "OSError")) throw;
    return 0.0;
  }
}

void Document::each_reference(runtime::ReferenceVisitor& visitor) const {
  collection_.each_reference(visitor);
  visitor(history_);
}

void Document::set_name(std::string name) {
  if (verbatim_) verbatim_->set("name", name);
  name_ = std::move(name);
}

void Document::set_description(std::string description) {
  if (verbatim_) verbatim_->set("description", description);
  description_ = std::move(description);
}

void Document::set_deleted(bool deleted) {
  if (verbatim_) verbatim_->set("deleted", deleted);
  deleted_ = deleted;
}

void Document::set_filename(std::string filename) {
  if (verbatim_) verbatim_->set("filename", filename);
  filename_ = std::move(filename);
}

std::string Document::path() {
  ensure_filename();
  return file_path();
}

std::string Document::file_path() const {
  return runtime::services().files->join(directory_, filename_);
}

void Document::ensure_filename() {
  if (!filename_.empty()) return;
  namespace naming = hierarchy::naming;
  const std::string stem = naming::force_ascii(naming::strip(name_, " ")).substr(0, kMaximumStem);
  const std::string digits = runtime::services().system->random_stamp().substr(0, kRandomDigits);
  set_filename(stem + "_" + digits + ".json");
}

void Document::apply(const Json& file_data) {
  require_map(file_data, "a project");
  const std::int64_t read = read_version(file_data);
  const bool foreign = read >= 0 && read != kVersion;
  Fields fields = foreign ? read_known_fields(file_data) : read_fields(file_data);
  History::Content content =
      foreign ? read_known_records(*history_, file_data) : history_->read(file_data);
  const std::string filename = file_data.text_or("filename", "");

  verbatim_.reset();
  if (foreign) verbatim_ = file_data;
  name_ = std::move(fields.name);
  description_ = std::move(fields.description);
  target_ = std::move(fields.target);
  deleted_ = fields.deleted;
  edit_timestamp = edit_time_of(file_data);
  version = read;
  if (foundation::is_safe_filename(filename)) filename_ = filename;
  history_->assign(std::move(content));
}

Json Document::data() const {
  if (verbatim_) return without_edit_time(*verbatim_);
  return Json::Map{{"name", hierarchy::naming::space_filter(name_)},
                   {"description", description_},
                   {"records", history_->data()},
                   {"selected_record", history_->pointer()},
                   {"deleted", deleted_},
                   {"version", version},
                   {"filename", filename_},
                   {"target", target_}};
}

Json Document::file_data() const {
  Json data = verbatim_ ? *verbatim_ : this->data();
  data.set("edit_timestamp", edit_timestamp);
  return data;
}

Ref<Document> Document::clone() const {
  return runtime::make<Document>(collection_, directory_, filename_, data());
}

Ref<Record> Document::make_promise() const {
  const Ref<Record> selected = history_->get_record();
  Json data = selected->data();
  data.set("author", "").set("comment", "");
  return runtime::make<Record>(selected->history(), data);
}

void Document::assert_editable() {
  if (!verbatim_) return;
  throw foundation::Error(
      foundation::ErrorKind::value,
      "a project of version " + std::to_string(version) + " takes no records from this version");
}

void Document::save() {
  mark_edited();
  collection_.port().save_project(Ref<Document>(this));
}

void Document::mark_edited() {
  // Of a time so far ahead that the step is lost in rounding, the next number. None follows the
  // greatest: an endless one would count as no time when it is read.
  constexpr double kGreatest = std::numeric_limits<double>::max();
  const double later = std::min(
      std::max(edit_timestamp + kEditStep, std::nextafter(edit_timestamp, kGreatest)), kGreatest);
  edit_timestamp = std::max(runtime::services().system->time(), later);
}

bool Document::write() {
  return foundation::guarded([&] {
    const std::string target = path();
    if (unread_ && runtime::services().files->exists(target)) foundation::copy_aside(target);
    foundation::write_document(target, file_data());
    unread_ = false;
    size_ = size_on_disk(target);
  });
}

void Document::reload() {
  if (filename_.empty() || !runtime::services().files->exists(file_path())) return;
  // Taken before the file is read: what grows meanwhile still counts as outdated.
  const double size = size_on_disk(file_path());
  const foundation::Document file = foundation::read_document(file_path(), kMessages);
  if (file.state == foundation::Document::State::missing || file.content.map()->empty()) {
    unread_ = unread_ || file.state == foundation::Document::State::unusable;
    return;
  }
  unread_ = !take_over(file);
  size_ = size;
}

bool Document::take_over(const foundation::Document& file) {
  if (file.state == foundation::Document::State::unusable) return false;
  const std::string on_disk = filename_;
  const bool applied =
      foundation::guarded([&] { at_place(file_path(), [&] { apply(file.content); }); });
  filename_ = on_disk;
  return applied;
}

void Document::adopt(const Json& file_data) {
  const std::string on_disk = filename_;
  const EditToggle::View view = history_->edit_toggle()->view();
  apply(file_data);
  filename_ = on_disk;
  history_->edit_toggle()->refresh(view);
  unread_ = false;
  size_ = size_on_disk(file_path());
}

bool Document::is_outdated() const {
  if (filename_.empty()) return false;
  const std::string path = file_path();
  return runtime::services().files->exists(path) && size_ < size_on_disk(path);
}

}  // namespace kavel::projects
