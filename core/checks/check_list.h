// The check list: what a user ticks, bound to a configuration of checks.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/checks/control.h"
#include "core/services/check_presets.h"

namespace kavel::checks {

/// The registry of check classes, or any iterable of them.
class ClassesPort {
 public:
  virtual ~ClassesPort() = default;
  virtual void each_reference(runtime::ReferenceVisitor& visitor) const = 0;
  virtual void drop_references() noexcept = 0;
  [[nodiscard]] virtual Value object() const = 0;
  [[nodiscard]] virtual std::vector<std::unique_ptr<CheckClassPort>> classes() = 0;
  /// Makes the interpreter know an object that is held in more than one place, so that its
  /// collector sees every reference to it.
  virtual void introduce(const runtime::Object& object) = 0;
  /// Changes when the classes are others; 0 for what does not tell.
  [[nodiscard]] virtual std::int64_t reloads() = 0;
};

/// One control for each check class, in the order of the classes. A class whose parameters cannot
/// be made is logged and has none.
class CheckList : public runtime::Object {
 public:
  struct Given {
    std::unique_ptr<ClassesPort> classes;
    /// Null for a list without a preset editor.
    Ref<services::CheckPresets> presets;
    /// Null for a list that is bound later.
    std::unique_ptr<CheckConfigPort> config;
  };

  explicit CheckList(Given given);
  ~CheckList() override;

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Binds the configuration and loads each control from its entry, without changing it: a check
  /// that it does not mention has the defaults. The controls are made anew when the classes were
  /// loaded again since. Null only unbinds. A control that cannot be loaded is logged and off;
  /// `save` leaves its entry alone. Called from within itself, it is logged and does nothing.
  void load(std::unique_ptr<CheckConfigPort> config);
  /// Saves each control into its entry, which is made when it is missing; does nothing without a
  /// configuration.
  void save();
  /// Resets each control.
  void clear();
  /// Whether there are no controls.
  [[nodiscard]] bool is_empty() const noexcept { return controls->items.empty(); }
  /// All controls or the enabled ones, a snapshot.
  [[nodiscard]] std::vector<Ref<Control>> select(bool enabled) const;
  /// Those of them whose check inspects the scene as a whole, or an object.
  [[nodiscard]] std::vector<Ref<Control>> select(bool enabled, bool scene_oriented) const;

  /// Null while none is bound.
  [[nodiscard]] const CheckConfigPort* config() const noexcept { return config_.get(); }
  [[nodiscard]] const Ref<services::PresetEditor>& preset_editor() const noexcept {
    return preset_editor_;
  }

  /// One list object each for life.
  const Ref<runtime::List<Ref<Control>>> controls;
  const Ref<runtime::List<Ref<Category>>> categories;

 private:
  void build();
  static void load_control(Control& control, CheckConfigPort& config);

  std::unique_ptr<ClassesPort> classes_;
  std::int64_t reloads_ = 0;
  // Shared with a call that is working on it: code of a host may bind another one meanwhile.
  std::shared_ptr<CheckConfigPort> config_;
  bool is_loading_ = false;
  Ref<services::PresetEditor> preset_editor_;
};

/// The list of the validator: its checks are those of the user's settings.
class WorkspaceCheckList final : public CheckList {
 public:
  using CheckList::CheckList;
};

}  // namespace kavel::checks
