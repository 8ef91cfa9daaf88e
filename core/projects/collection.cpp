#include "core/projects/collection.h"

#include <algorithm>

#include "core/foundation/access_queue.h"
#include "core/foundation/failure.h"
#include "core/runtime/services.h"

namespace kavel::projects {
namespace {

using foundation::Json;
using runtime::LockGuard;
using runtime::Ref;
using Outcome = FileChange::Outcome;

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

Ref<ProjectsRequest> Collection::create_http_request() {
  const LockGuard guard(*editing_);
  Json::Array projects;
  ServerMemory::EditTimes carried;
  const Table entries = table_;
  for (const auto& [filename, document] : entries) {
    Json data = document->file_data();
    // A document of another version carries the name that it was read with.
    data.set("filename", filename);
    projects.push_back(std::move(data));
    carried.emplace(filename, document->edit_timestamp);
  }
  memory_.note_request(std::move(carried));
  return runtime::make<ProjectsRequest>(target_, std::move(projects));
}

bool Collection::accept_http_response(const ProjectsResponse& response) {
  const std::shared_ptr<const ServerContent> server = response.content();
  if (!server->accepted) return false;
  const bool is_complete = take_arrivals(*server);
  drop_departures(*server);
  foundation::log_debug("Projects Synchronized");
  return is_complete;
}

bool Collection::take_arrivals(const ServerContent& server) {
  std::vector<FileChange> changes = arrivals(server);
  {
    const LockGuard guard(*editing_);
    // The user may have saved while the documents were made.
    std::erase_if(changes, [this](const FileChange& change) {
      return !is_newer(change.filename, change.document->edit_timestamp);
    });
    for (FileChange& change : changes) {
      change.known = memory_.listed(change.filename);
      if (const Ref<Document> ours = find(change.filename)) change.before = ours->file_data();
    }
    write_files(changes);
    for (FileChange& change : changes) settle(change);
  }
  log_changes(changes, "\"{}\" was replaced by the server's newer edit; ours is kept as {}");
  for (const FileChange& change : changes) {
    if (change.outcome == Outcome::done) foundation::guarded([&] { api_->announce_saved(); });
  }
  return std::ranges::none_of(changes, [](const FileChange& change) {
    return change.outcome == Outcome::failed || change.outcome == Outcome::busy;
  });
}

std::vector<FileChange> Collection::arrivals(const ServerContent& server) const {
  // The newest of each, in case the server lists one twice.
  std::map<std::string, const Json*> newest;
  {
    const LockGuard guard(*editing_);
    for (const Json& project : server.projects) {
      const double edited = Document::edit_time_of(project);
      if (!is_newer(filename_of(project), edited)) continue;
      const Json*& known = newest[filename_of(project)];
      if (known == nullptr || edited > Document::edit_time_of(*known)) known = &project;
    }
  }
  std::vector<FileChange> changes;
  for (const auto& arrival : newest) {
    foundation::guarded([&] {
      const auto& [filename, project] = arrival;
      auto document = runtime::make<Document>(links_.link(), directory, filename, *project);
      if (!is_approved(*document)) return;
      changes.push_back({.document = std::move(document), .filename = filename});
    });
  }
  return changes;
}

bool Collection::is_newer(const std::string& filename, double edit_time) const {
  const auto found = table_.find(filename);
  return found == table_.end() || edit_time > found->second->edit_timestamp;
}

void Collection::settle(FileChange& change) {
  if (change.outcome != Outcome::done && change.outcome != Outcome::edited) return;
  change.failure = foundation::failure_of([&] {
    const Ref<Document> known = find(change.filename);
    if (!known) {
      change.document->adopt(change.content);
      table_[change.filename] = change.document;
    } else if (known->file_data() == change.before) {
      known->adopt(change.content);
    } else {
      // Another thread waits with its edit until it may save: that one is the newest then.
      change.outcome = Outcome::busy;
    }
  });
  if (change.failure) change.outcome = Outcome::failed;
}

void Collection::drop_departures(const ServerContent& server) {
  // The documents fall after the release: their end may run foreign code.
  std::vector<FileChange> changes;
  {
    const LockGuard guard(*editing_);
    for (const auto& [filename, document] : table_) {
      const bool stays = server.filenames.contains(filename) ||
                         memory_.is_unsent(filename, document->edit_timestamp);
      if (!stays) changes.push_back({.document = document, .filename = filename});
    }
    for (FileChange& change : changes) change.before = change.document->file_data();
    remove_files(changes);
    for (FileChange& change : changes) {
      if (change.outcome == Outcome::edited) {
        settle(change);
      } else {
        table_.erase(change.filename);
      }
    }
    ServerMemory::EditTimes listed;
    for (const Json& project : server.projects) {
      listed[filename_of(project)] = Document::edit_time_of(project);
    }
    memory_.note_answer(std::move(listed));
  }
  log_changes(changes, "\"{}\" is not on the server any more; its file is kept as {}");
}

}  // namespace kavel::projects
