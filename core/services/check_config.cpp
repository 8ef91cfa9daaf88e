#include "core/services/check_config.h"

#include <algorithm>
#include <utility>

namespace kavel::services {

using foundation::Json;
using runtime::Ref;

CheckEntry::CheckEntry(std::string id, const Json& data)
    : class_id(std::move(id)),
      enabled(data.boolean_or("enabled", false)),
      opened(data.boolean_or("opened", false)) {
  const Json* stored = data.find("parameters");
  if (stored != nullptr && stored->array() != nullptr) parameters = *stored;
}

Json CheckEntry::data() const {
  return Json::Map{{"enabled", enabled}, {"opened", opened}, {"parameters", parameters}};
}

void CheckConfig::load(const Json& data) {
  std::vector<Ref<CheckEntry>> loaded;
  if (const Json::Map* entries = data.map()) {
    for (const auto& [class_id, entry] : *entries) {
      loaded.push_back(runtime::make<CheckEntry>(class_id, entry));
    }
  }
  std::swap(entries_, loaded);
}

Json CheckConfig::data() const {
  Json::Map data;
  for (const Ref<CheckEntry>& entry : entries_) data.emplace_back(entry->class_id, entry->data());
  return data;
}

Ref<CheckEntry> CheckConfig::get(const std::string& class_id, bool force) {
  const auto found = std::ranges::find_if(
      entries_, [&](const Ref<CheckEntry>& entry) { return entry->class_id == class_id; });
  if (found != entries_.end()) return *found;
  if (!force) return nullptr;
  entries_.push_back(runtime::make<CheckEntry>(class_id));
  return entries_.back();
}

std::vector<std::string> CheckConfig::mask() const {
  std::vector<std::string> ids;
  for (const Ref<CheckEntry>& entry : entries_) ids.push_back(entry->class_id);
  return ids;
}

Ref<CheckConfig> CheckConfig::clone() const { return runtime::make<CheckConfig>(data()); }

}  // namespace kavel::services
