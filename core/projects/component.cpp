#include "core/projects/component.h"

#include <algorithm>

#include "core/foundation/logger.h"
#include "core/foundation/text.h"

namespace kavel::projects {

using runtime::Ref;

Component::Component(std::unique_ptr<ApiPort> api, std::unique_ptr<MatcherPort> matcher)
    : api_(std::move(api)),
      matcher_(std::move(matcher)),
      collection_(runtime::make<Collection>(api_->copy(), api_->target())),
      pointer_(runtime::make<LoadPointer>()) {}

void Component::each_reference(runtime::ReferenceVisitor& visitor) const {
  api_->each_reference(visitor);
  matcher_->each_reference(visitor);
  visitor(collection_);
  visitor(pointer_);
}

void Component::drop_references() noexcept { collection_->drop_references(); }

bool Component::exists(const std::string& filename) const {
  return std::ranges::any_of(collection_->headers(), [&filename](const Ref<Header>& header) {
    return header->filename == filename;
  });
}

Ref<Document> Component::first_compatible() const {
  for (const Ref<Header>& header : collection_->headers()) {
    if (!header->compatible) continue;
    const Ref<Document> document = collection_->get(header->filename);
    // Reading it again may have changed what the header said.
    if (document->compatible()) return document;
  }
  return nullptr;
}

Ref<Document> Component::get_current() {
  const std::string remembered = api_->current_project();
  if (exists(remembered)) {
    Ref<Document> document = collection_->get(remembered);
    if (document->compatible()) return document;
  }
  const Ref<Document> first = first_compatible();
  if (!first) return collection_->get_empty();
  load(*first);
  return first;
}

Ref<Document> Component::get_clone() {
  Ref<Document> clone = get_current()->clone();
  clone->history()->bake();
  clone->set_name("");
  clone->clear_filename();
  return clone;
}

void Component::delete_current() {
  const Ref<Document> current = get_current();
  if (current->filename().empty()) return;
  current->set_deleted(true);
  current->mark_edited();
  current->write();
  load_first();
}

void Component::load(const std::string& filename) {
  if (exists(filename)) {
    load(*collection_->get(filename));
  } else {
    load_first();
  }
}

void Component::load_first() {
  const Ref<Document> first = first_compatible();
  load(first ? *first : *collection_->get_empty());
}

void Component::load(Document& document) {
  const Ref<Document> kept(&document);
  const std::string filename = document.filename();
  const double edited = document.edit_timestamp;
  const bool other = pointer_->other(filename);
  // New check classes make the pattern's check lists stale, as an edit does.
  const std::int64_t reloads = matcher_->check_reloads();
  const bool stale = other || pointer_->edited(edited) || reloads != check_reloads_;
  if (!document.compatible() || !stale) return;
  const Ref<Record> record = document.history()->get_record();
  matcher_->set_pattern(record);
  const RecordExport& settings = *record->export_settings();
  api_->load_export(settings.options(), settings.flags()->data());
  if (other && api_->current_project() != filename) api_->remember_project(filename);
  pointer_->set(filename, edited);
  check_reloads_ = reloads;
  foundation::log_info(foundation::format("Load \"{}\" project", {document.name()}));
}

}  // namespace kavel::projects
