// Named configurations of checks that the user keeps and applies to the check list.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/services/check_config.h"

namespace kavel::services {

class CheckPresets;

/// One preset. Its identity is its stamp, 32 hexadecimal digits.
class CheckPreset final : public runtime::Object {
 public:
  /// With a fresh stamp, changed now.
  CheckPreset(std::string name, runtime::Ref<CheckConfig> config);
  /// From {"stamp", "changed", "name", "list"}; what is missing stays as in a new preset.
  explicit CheckPreset(const foundation::Json& data);

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(config_); }
  [[nodiscard]] runtime::Object* owner() const noexcept override;

  void load(const foundation::Json& data);
  /// The name without blanks at its ends.
  [[nodiscard]] foundation::Json data() const;

  // Setting either notes the time and sorts the presets that this one is among.
  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  void set_name(std::string name);
  [[nodiscard]] const runtime::Ref<CheckConfig>& config() const noexcept { return config_; }
  void set_config(runtime::Ref<CheckConfig> config);

  [[nodiscard]] const std::string& stamp() const noexcept { return stamp_; }

  /// Seconds since the epoch of the last change.
  double changed;
  /// Whether it equals the configuration in use, as of the last comparison.
  bool applied = false;

 private:
  friend class CheckPresets;
  void note_change();

  std::string name_;
  runtime::Ref<CheckConfig> config_;
  std::string stamp_;
  /// Null while this preset is in no list.
  CheckPresets* presets_ = nullptr;
};

/// The presets, sorted by name.
class CheckPresets final : public runtime::Object {
 public:
  using Entry = runtime::Ref<CheckPreset>;

  CheckPresets() = default;
  explicit CheckPresets(const foundation::Json& data) { load(data); }
  ~CheckPresets() override { set_entries({}); }

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(entries_); }
  void drop_references() noexcept override { set_entries({}); }

  /// Adds a preset that holds `config` itself; names may repeat.
  Entry add(const std::string& name, const runtime::Ref<CheckConfig>& config);
  /// Removes the preset itself, else the first of the same stamp, and returns it; null when there
  /// is none.
  Entry pop(const CheckPreset& preset);
  void sort();
  /// Marks every preset whose configuration equals `config` as applied, and no other.
  void sync_applied(const CheckConfig& config);

  /// Replaces the presets by the stored ones; elements that are no maps are left out.
  void load(const foundation::Json& data);
  [[nodiscard]] foundation::Json data() const;
  [[nodiscard]] std::vector<std::string> names() const;
  /// A snapshot: changing a preset sorts the list.
  [[nodiscard]] std::vector<Entry> entries() const { return entries_; }
  [[nodiscard]] std::size_t size() const noexcept { return entries_.size(); }

 private:
  void set_entries(std::vector<Entry> entries) noexcept;

  std::vector<Entry> entries_;
};

/// The check list as the editor of presets needs it.
class CheckListPort {
 public:
  virtual ~CheckListPort() = default;
  /// The bound configuration, null while there is none.
  [[nodiscard]] virtual runtime::Ref<CheckConfig> config() = 0;
  /// Reloads the list from `config`.
  virtual void load(const runtime::Ref<CheckConfig>& config) = 0;
  virtual void each_reference(runtime::ReferenceVisitor& visitor) const = 0;
  /// The list itself when it holds the editor, else null.
  [[nodiscard]] virtual runtime::Object* owner() const noexcept { return nullptr; }
};

/// Carries configurations between the check list and the presets. Until the check list holds a
/// configuration, `create`, `upload`, `apply` and `sync_applied` do nothing.
class PresetEditor final : public runtime::Object {
 public:
  PresetEditor(std::unique_ptr<CheckListPort> checklist, runtime::Ref<CheckPresets> presets)
      : checklist_(std::move(checklist)), presets_(std::move(presets)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;
  [[nodiscard]] runtime::Object* owner() const noexcept override {
    return checklist_ ? checklist_->owner() : nullptr;
  }

  [[nodiscard]] bool is_config_loaded() const { return static_cast<bool>(config()); }
  [[nodiscard]] std::vector<std::string> names() const { return presets_->names(); }
  /// Adds a preset that holds a copy of the check list's configuration.
  void create(const std::string& name);
  /// Replaces the preset's configuration by a copy of the check list's.
  void upload(CheckPreset& preset);
  /// Takes the preset's content over into the check list's configuration and reloads the list.
  void apply(const CheckPreset& preset);
  void erase(const CheckPreset& preset) { presets_->pop(preset); }
  void sync_applied();

 private:
  [[nodiscard]] runtime::Ref<CheckConfig> config() const;

  std::unique_ptr<CheckListPort> checklist_;
  runtime::Ref<CheckPresets> presets_;
};

}  // namespace kavel::services
