#include "core/services/check_presets.h"

#include <algorithm>
#include <utility>

#include "core/foundation/logger.h"
#include "core/hierarchy/naming.h"
#include "core/runtime/services.h"

namespace kavel::services {

using foundation::Json;
using runtime::make;
using runtime::Ref;

CheckPreset::CheckPreset(std::string name, Ref<CheckConfig> config)
    : changed(runtime::services().system->time()),
      name_(std::move(name)),
      config_(std::move(config)),
      stamp_(runtime::services().system->random_stamp()) {}

CheckPreset::CheckPreset(const Json& data) : CheckPreset("", make<CheckConfig>()) { load(data); }

runtime::Object* CheckPreset::owner() const noexcept { return presets_; }

void CheckPreset::load(const Json& data) {
  name_ = data.text_or("name", name_);
  if (std::string stored = data.text_or("stamp", ""); !stored.empty()) stamp_ = std::move(stored);
  if (const Json* time = data.find("changed")) changed = time->number().value_or(changed);
  if (const Json* list = data.find("list")) config_ = make<CheckConfig>(*list);
  if (presets_ != nullptr) presets_->sort();
}

Json CheckPreset::data() const {
  return Json::Map{{"stamp", stamp_},
                   {"changed", changed},
                   {"name", hierarchy::naming::space_filter(name_)},
                   {"list", config_->data()}};
}

void CheckPreset::set_name(std::string name) {
  name_ = std::move(name);
  note_change();
}

void CheckPreset::set_config(Ref<CheckConfig> config) {
  config_ = std::move(config);
  note_change();
}

void CheckPreset::note_change() {
  changed = runtime::services().system->time();
  if (presets_ != nullptr) presets_->sort();
}

CheckPresets::Entry CheckPresets::add(const std::string& name, const Ref<CheckConfig>& config) {
  Entry preset = make<CheckPreset>(name, config);
  preset->presets_ = this;
  entries_.push_back(preset);
  sort();
  return preset;
}

CheckPresets::Entry CheckPresets::pop(const CheckPreset& preset) {
  // Files copied by hand hold presets of one stamp.
  auto found = std::ranges::find(entries_, &preset, &Entry::get);
  if (found == entries_.end()) {
    found = std::ranges::find_if(
        entries_, [&](const Entry& entry) { return entry->stamp() == preset.stamp(); });
  }
  if (found == entries_.end()) return nullptr;
  Entry removed = *found;
  removed->presets_ = nullptr;
  entries_.erase(found);
  return removed;
}

void CheckPresets::sort() {
  std::ranges::stable_sort(entries_, {},
                           [](const Entry& entry) -> const std::string& { return entry->name(); });
}

void CheckPresets::sync_applied(const CheckConfig& config) {
  for (const Entry& preset : entries()) preset->applied = *preset->config() == config;
}

void CheckPresets::load(const Json& data) {
  std::vector<Entry> loaded;
  const Json::Array* stored = data.array();
  for (const Json& element : stored != nullptr ? *stored : Json::Array()) {
    if (element.map() != nullptr) {
      loaded.push_back(make<CheckPreset>(element));
    } else {
      foundation::log_warning("Incompatible Check Preset");
    }
  }
  set_entries(std::move(loaded));
  sort();
}

Json CheckPresets::data() const {
  Json::Array data;
  for (const Entry& preset : entries_) data.push_back(preset->data());
  return data;
}

std::vector<std::string> CheckPresets::names() const {
  std::vector<std::string> names;
  for (const Entry& preset : entries_) names.push_back(preset->name());
  return names;
}

void CheckPresets::set_entries(std::vector<Entry> entries) noexcept {
  for (const Entry& preset : entries_) preset->presets_ = nullptr;
  for (const Entry& preset : entries) preset->presets_ = this;
  std::swap(entries_, entries);
}

void PresetEditor::each_reference(runtime::ReferenceVisitor& visitor) const {
  if (checklist_) checklist_->each_reference(visitor);
  visitor(presets_);
}

void PresetEditor::drop_references() noexcept {
  // The presets form no cycle and stay, so that a late question finds them.
  checklist_.reset();
}

Ref<CheckConfig> PresetEditor::config() const {
  return checklist_ ? checklist_->config() : nullptr;
}

void PresetEditor::create(const std::string& name) {
  if (const Ref<CheckConfig> current = config()) presets_->add(name, current->clone());
}

void PresetEditor::upload(CheckPreset& preset) {
  if (const Ref<CheckConfig> current = config()) preset.set_config(current->clone());
}

void PresetEditor::apply(const CheckPreset& preset) {
  const Ref<CheckConfig> current = config();
  if (!current) return;
  current->apply(*preset.config());
  checklist_->load(current);
}

void PresetEditor::sync_applied() {
  if (const Ref<CheckConfig> current = config()) presets_->sync_applied(*current);
}

}  // namespace kavel::services
