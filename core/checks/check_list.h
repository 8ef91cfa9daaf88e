// The check list: what a user ticks, bound to a configuration of checks.
#pragma once

#include "core/runtime/list.h"

namespace kavel::checks {

/// One control for each check class, bound to a configuration. As this version loads no check
/// classes, a list has no controls.
class CheckList : public runtime::Object {
 public:
  /// `presets` and `config` may be empty; with a configuration the list is loaded from it.
  CheckList(runtime::Value classes, runtime::Value presets, const runtime::Value& config);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Binds the configuration and loads each control from its entry.
  void load(runtime::Value config) { config_ = std::move(config); }
  /// Saves each control into its entry of the bound configuration.
  void save() const {}
  /// Resets each control.
  void clear() const {}
  /// Whether there are no controls.
  [[nodiscard]] bool is_empty() const noexcept { return controls->items.empty(); }

  [[nodiscard]] const runtime::Value& config() const noexcept { return config_; }
  [[nodiscard]] const runtime::Value& presets() const noexcept { return presets_; }

  const runtime::Ref<runtime::List<runtime::Value>> controls;
  const runtime::Ref<runtime::List<runtime::Value>> categories;

 private:
  runtime::Value classes_;
  runtime::Value presets_;
  runtime::Value config_;
};

/// The list of the validator: its checks are those of the user's settings.
class WorkspaceCheckList final : public CheckList {
 public:
  using CheckList::CheckList;
};

}  // namespace kavel::checks
