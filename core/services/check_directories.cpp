#include "core/services/check_directories.h"

#include <algorithm>
#include <utility>

#include "core/foundation/logger.h"
#include "core/runtime/services.h"

namespace kavel::services {
namespace {

using foundation::Json;
using runtime::make;

constexpr const char* kEmbeddedName = "Default";

runtime::Files& files() { return *runtime::services().files; }

/// `path` as an absolute one. Where a relative one leads depends on where the host was started.
std::string stored_path(const std::string& path) {
  std::string absolute = files().absolute(path);
  if (files().normalise(path) != absolute) {
    foundation::log_warning("Relative Check Directory \"" + path + "\" is taken as " + absolute);
  }
  return absolute;
}

}  // namespace

CheckDirectory::CheckDirectory(const std::string& folder, std::string label, bool is_enabled,
                               bool is_locked)
    : path(files().absolute(folder)),
      name(std::move(label)),
      locked(is_locked),
      enabled_(is_enabled) {}

Json CheckDirectory::data() const {
  return Json::Map{{"name", name}, {"path", path}, {"enabled", enabled_}};
}

void CheckDirectories::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(embedded_);
  visitor(entries_);
}

void CheckDirectories::drop_references() noexcept {
  embedded_ = nullptr;
  entries_.clear();
}

void CheckDirectories::embed(const std::optional<std::string>& module_file) {
  if (!module_file) {
    embedded_ = nullptr;
    return;
  }
  const std::string folder = files().split(files().absolute(*module_file)).first;
  embedded_ = make<CheckDirectory>(folder, kEmbeddedName, true, true);
}

bool CheckDirectories::is_approved(const std::string& path) {
  return !path.empty() && files().is_directory(path);
}

bool CheckDirectories::add(const std::string& name, const std::string& path, bool enabled) {
  // An empty path would become the current folder.
  return !path.empty() && append(make<CheckDirectory>(path, name, enabled));
}

bool CheckDirectories::append(const Entry& directory) {
  if (!is_approved(directory->path)) return false;
  entries_.push_back(directory);
  return true;
}

bool CheckDirectories::insert(std::ptrdiff_t index, const Entry& directory) {
  if (!is_approved(directory->path)) return false;
  const auto size = static_cast<std::ptrdiff_t>(entries_.size());
  if (index < 0) index += size;
  entries_.insert(entries_.begin() + std::clamp<std::ptrdiff_t>(index, 0, size), directory);
  return true;
}

void CheckDirectories::extend(const std::vector<Entry>& directories) {
  for (const Entry& directory : std::vector<Entry>(directories)) append(directory);
}

void CheckDirectories::remove(const Entry& directory) {
  const auto found = std::ranges::find(entries_, directory);
  if (found != entries_.end()) entries_.erase(found);
}

runtime::Ref<CheckDirectories> CheckDirectories::sum(const CheckDirectories& left,
                                                     const CheckDirectories& right) {
  auto result = make<CheckDirectories>();
  result->embedded_ = left.embedded_ ? left.embedded_ : right.embedded_;
  result->extend(left.entries_);
  result->extend(right.entries_);
  return result;
}

void CheckDirectories::load(const Json& data) {
  std::vector<Entry> loaded;
  Json::Array lost;
  const Json::Array* stored = data.array();
  for (const Json& element : stored != nullptr ? *stored : Json::Array()) {
    const std::string path = element.text_or("path", "");
    if (path.empty()) {
      foundation::log_warning("Incompatible Check Directory");
      continue;
    }
    auto directory = make<CheckDirectory>(stored_path(path), element.text_or("name", ""),
                                          element.boolean_or("enabled", true));
    if (is_approved(directory->path)) {
      loaded.push_back(std::move(directory));
    } else {
      foundation::log_warning("Lost Check Directory - " + directory->path);
      lost.push_back(directory->data());
    }
  }
  std::swap(entries_, loaded);
  std::swap(lost_, lost);
}

Json CheckDirectories::file_data() const {
  Json::Array data;
  for (const Entry& entry : entries_) data.push_back(entry->data());
  for (const Json& gone : lost_) {
    const std::string path = gone.text_or("path", "");
    // The user may have added it again when it was back.
    if (std::ranges::find(entries_, path, [](const Entry& entry) { return entry->path; }) ==
        entries_.end()) {
      data.push_back(gone);
    }
  }
  return data;
}

Json CheckDirectories::data() const {
  Json::Array data;
  for (const Entry& entry : entries_) data.push_back(entry->data());
  return data;
}

std::vector<CheckDirectories::Entry> CheckDirectories::all() const {
  std::vector<Entry> all = entries_;
  if (embedded_) all.insert(all.begin(), embedded_);
  return all;
}

}  // namespace kavel::services
