#include "core/scene/virtual.h"

#include <utility>

#include "core/scene/upload.h"

namespace kavel::scene {
namespace {

std::vector<std::string> paths_of(const Snapshot& table, std::span<const Id> ids) {
  std::vector<std::string> paths;
  paths.reserve(ids.size());
  for (const Id id : ids) paths.emplace_back(table.path(id));
  return paths;
}

}  // namespace

Virtual::Virtual(std::unique_ptr<OperatorPort> port) : operator_(std::move(port)) {}

void Virtual::upload(std::span<const std::string> roots, bool clear) {
  if (clear) offload();
  const auto inquiry = operator_->inquire();
  Upload upload(table_, *inquiry);
  for (const std::string& root : roots) upload.walk(root);
  // Not after additions: many small ones would copy the table each time.
  if (clear) table_.compact();
}

void Virtual::upload_alone(const std::string& path) {
  const auto inquiry = operator_->inquire();
  Upload(table_, *inquiry).store_alone(path);
}

std::optional<bool> Virtual::object_exists(std::string_view path) const {
  const Id id = table_.find(path);
  if (id == kNoId || !table_.asked(id)) return std::nullopt;
  return table_.exists(id);
}

std::string Virtual::get_type(std::string_view path) const {
  return std::string(table_.type(table_.find(path)));
}

std::optional<std::string> Virtual::get_parent(std::string_view path) const {
  const Id parent = table_.parent(table_.find(path));
  if (parent == kNoId) return std::nullopt;
  return std::string(table_.path(parent));
}

std::vector<std::string> Virtual::get_children(std::string_view path) const {
  return paths_of(table_, table_.children(table_.find(path)));
}

std::string Virtual::get_name(const std::string& path) const {
  const Id id = table_.find(path);
  if (table_.stored(id)) return std::string(table_.name(id));
  return operator_->name_from_path(path);
}

std::vector<runtime::Ref<Location>> Virtual::get_locations(
    std::span<const std::string> roots) const {
  std::vector<runtime::Ref<Location>> locations;
  for (const std::string& path : roots) {
    const Id id = table_.find(path);
    if (!table_.exists(id)) continue;
    locations.push_back(runtime::make<Location>(std::string(table_.name(id)), path,
                                                std::string(table_.type(id)),
                                                paths_of(table_, table_.children(id))));
  }
  return locations;
}

void VirtualQuery::locate(std::span<const Id> roots, std::vector<Id>& existing) {
  const Snapshot& known = scene_->table();
  for (const Id id : roots) {
    if (known.exists(id)) existing.push_back(id);
  }
}

}  // namespace kavel::scene
