// One check class in a check list: what the user chose for it.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "core/checks/check_class.h"
#include "core/checks/check_state.h"
#include "core/runtime/list.h"

namespace kavel::checks {

class Control final : public runtime::Object {
 public:
  /// Not enabled and not opened, with the class's own parameters. Throws what the class raises.
  explicit Control(std::unique_ptr<CheckClassPort> check_class);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override { state_.reset(); }

  /// Takes the choice over and keeps `state` for `save`.
  void load(std::unique_ptr<CheckState> state);
  /// Replaces the state that `save` writes into, without taking its choice over.
  void keep(std::unique_ptr<CheckState> state) { state_ = std::move(state); }
  /// Writes the choice into the state; does nothing before one was loaded. A disabled check keeps
  /// no edited parameters there.
  void save();
  /// As it was made; the state stays as it is.
  void clear();

  [[nodiscard]] const CheckClassPort& check_class() const noexcept { return *check_class_; }
  /// Whether the check inspects the scene as a whole; a class that cannot tell is logged and does
  /// not.
  [[nodiscard]] bool scene_oriented() const;
  /// Null before one was loaded.
  [[nodiscard]] const CheckState* state() const noexcept { return state_.get(); }

  bool enabled = false;
  /// Whether the parameter panel is expanded in the user interface.
  bool opened = false;
  const Ref<Block> parameters;

 private:
  std::unique_ptr<CheckClassPort> check_class_;
  // Shared with a call that is writing into it: what it writes may be read by code of a host.
  std::shared_ptr<CheckState> state_;
};

/// The controls of one category.
class Category final : public runtime::Object {
 public:
  explicit Category(std::string lower_case_name)
      : name(std::move(lower_case_name)), controls(runtime::make<runtime::List<Ref<Control>>>()) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(controls); }

  const std::string name;
  /// One list object for life.
  const Ref<runtime::List<Ref<Control>>> controls;
};

}  // namespace kavel::checks
