#include "core/projects/collection.h"

#include <algorithm>

#include "core/foundation/access_queue.h"
#include "core/foundation/logger.h"
#include "core/runtime/services.h"

namespace kavel::projects {
namespace {

using foundation::Json;
using runtime::LockGuard;
using runtime::Ref;

void remove_in_turn(const std::string& path) {
  foundation::AccessQueue turn(path);
  turn.assert_access();
  try {
    runtime::services().files->remove(path);
  } catch (...) {
    turn.abandon();
    throw;
  }
  turn.release_access();
}

}  // namespace

Collection::Collection(std::unique_ptr<ApiPort> api, std::string target)
    : directory(api->projects_directory()),
      api_(std::move(api)),
      target_(std::move(target)),
      editing_(runtime::services().threads->make_lock()) {
  load();
}

void Collection::each_reference(runtime::ReferenceVisitor& visitor) const {
  api_->each_reference(visitor);
  for (const auto& entry : table_) visitor(entry.second);
}

void Collection::drop_references() noexcept {
  Table dropped;
  std::swap(dropped, table_);
}

std::vector<std::string> Collection::project_files() const {
  runtime::Files& files = *runtime::services().files;
  std::vector<std::string> paths;
  foundation::guarded([&] {
    for (const std::string& name : files.list(directory)) {
      if (files.split_extension(name).second == ".json")
        paths.push_back(files.join(directory, name));
    }
  });
  return paths;
}

void Collection::load() {
  const LockGuard guard(*editing_);
  const std::vector<std::string> paths = project_files();
  std::vector<double> sizes;
  sizes.reserve(paths.size());
  for (const std::string& path : paths) sizes.push_back(Document::size_on_disk(path));
  const auto files = foundation::read_documents(paths, Document::kMessages);
  for (std::size_t index = 0; index < paths.size(); ++index) {
    insert(Document::from_file(links_.link(), paths[index], files[index], sizes[index]));
  }
}

void Collection::load_file(const std::string& path) { insert(Document::open(links_.link(), path)); }

void Collection::insert(const Ref<Document>& document) {
  if (is_approved(*document)) table_[document->filename()] = document;
}

bool Collection::is_approved(const Document& document) const noexcept {
  return document.target() == target_ && document.version >= 0;
}

Ref<Document> Collection::find(const std::string& filename) const {
  const auto found = table_.find(filename);
  return found == table_.end() ? nullptr : found->second;
}

std::vector<Ref<Document>> Collection::documents() const {
  std::vector<std::string> filenames;
  for (const auto& entry : table_) filenames.push_back(entry.first);
  std::vector<Ref<Document>> documents;
  for (const std::string& filename : filenames) {
    const LockGuard guard(*editing_);
    if (const Ref<Document> document = find(filename)) documents.push_back(document);
  }
  return documents;
}

std::vector<std::string> Collection::names() const {
  std::vector<std::string> names;
  for (const Ref<Document>& document : documents()) {
    if (!document->deleted()) names.push_back(document->name());
  }
  std::ranges::sort(names);
  return names;
}

std::vector<Ref<Header>> Collection::headers() const {
  std::vector<Ref<Header>> headers;
  for (const Ref<Document>& document : documents()) {
    if (!document->deleted()) headers.push_back(runtime::make<Header>(*document));
  }
  std::ranges::stable_sort(headers, [](const Ref<Header>& left, const Ref<Header>& right) {
    if (left->name != right->name) return left->name < right->name;
    return left->edit_timestamp < right->edit_timestamp;
  });
  return headers;
}

Ref<Document> Collection::get(const std::string& filename) {
  const LockGuard guard(*editing_);
  const Ref<Document> document = find(filename);
  if (!document) return get_empty();
  if (document->is_outdated()) document->reload();
  return document;
}

std::optional<std::string> Collection::get_file(const std::string& name) {
  const LockGuard guard(*editing_);
  const auto found = std::ranges::find_if(
      table_, [&name](const auto& entry) { return entry.second->name() == name; });
  if (found == table_.end()) return std::nullopt;
  // Held, since asking for the path runs foreign code.
  const Ref<Document> document = found->second;
  return document->path();
}

Ref<Document> Collection::get_empty() const {
  return runtime::make<Document>(links_.link(), directory, "",
                                 Json::Map{{"version", Document::kVersion}, {"target", target_}});
}

void Collection::save_project(const Ref<Document>& document) {
  // The document replaced falls after the release: its end may run foreign code.
  Ref<Document> stored = document;
  bool written = false;
  {
    const LockGuard guard(*editing_);
    written = document->write();
    // Given another file name, it leaves the old one.
    std::erase_if(table_, [&document](const auto& entry) { return entry.second == document; });
    std::swap(table_[document->filename()], stored);
  }
  if (written) api_->announce_saved();
}

void Collection::erase_project(const std::string& filename) {
  const auto entry = table_.extract(filename);
  if (entry.empty()) return;
  foundation::guarded([&] {
    runtime::Files& files = *runtime::services().files;
    foundation::assert_that(files.split(filename).second == filename,
                            "\"" + filename + "\" is no name of a file");
    remove_in_turn(files.join(directory, filename));
  });
}

}  // namespace kavel::projects
