// One set of parameter values with which a check runs.
//
// A task holds its inputs twice: as a frozen original, which clones share and nobody outside ever
// sees, and as its own copies, each made when somebody first asks for that input. A validation
// clones a task for every object and check, so that a run costs only the inputs it reads. The
// original is frozen anew when any input has changed since (see `edits`); an input of a derived
// class may change unnoticed, so a task with one is frozen for each clone.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/checks/input.h"

namespace kavel::checks {

/// What stands at one place of a parameter block: an input, or an object that is none.
struct Slot {
  Ref<Input> input;
  Value other;
};
using Slots = std::vector<Slot>;

/// Frozen inputs, their places by attribute name, and what was wrong with them.
class ParameterOriginal final : public runtime::Object {
 public:
  /// Clones every input.
  explicit ParameterOriginal(const Slots& given);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override { slots.clear(); }

  Slots slots;
  /// Attribute names and places, in order; of equal names the first.
  std::vector<std::pair<std::string, std::size_t>> table;
  /// The interpreter's exceptions.
  std::vector<Value> errors;
  /// State of `edits()` up to which it is up to date.
  std::uint64_t edits_seen;
  bool may_change_unnoticed = false;
};

class ParameterTask final : public runtime::Object {
 public:
  /// With clones of the inputs. Objects that are no inputs and repeated attribute names are noted
  /// as errors.
  explicit ParameterTask(const Slots& slots, bool as_info = false);
  ParameterTask(Ref<ParameterOriginal> original, bool as_info);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Loads {attribute name: value}. Whatever cannot be loaded is noted as an error; the rest is.
  void load(const Json& state);
  /// Throws the first error of the description, else the first of loading.
  void assert_no_errors() const;
  /// A task of its own with the same values, whose number is 0.
  [[nodiscard]] Ref<ParameterTask> clone() const;
  /// Whether no value can differ from the frozen one.
  [[nodiscard]] bool is_frozen() const noexcept;
  /// The frozen inputs with this task's values.
  [[nodiscard]] Ref<ParameterOriginal> freeze() const;

  [[nodiscard]] std::size_t size() const noexcept { return original_->slots.size(); }
  /// The object at a place: the task's own input, or what stands there in its stead.
  [[nodiscard]] Slot slot(std::size_t place) const;
  /// The task's own input of that name; null for an unknown one.
  [[nodiscard]] Ref<Input> find(const std::string& attr) const;
  /// The frozen inputs as they are now.
  [[nodiscard]] const Ref<ParameterOriginal>& original() const noexcept { return original_; }
  /// The own inputs, by place; empty before the first, null where there is none.
  [[nodiscard]] const std::vector<Ref<Input>>& own() const noexcept { return own_; }
  [[nodiscard]] bool has_load_errors() const noexcept { return load_errors_ != nullptr; }
  /// {attribute name: value}.
  [[nodiscard]] Json state() const;
  /// {"as_info", "state"}.
  [[nodiscard]] Json data() const { return Json::Map{{"as_info", as_info}, {"state", state()}}; }
  [[nodiscard]] std::vector<Value> load_errors() const;

  /// Whether issues found with these values are reported as information only.
  bool as_info;
  /// Position in its block, from 1; 0 while it is in none.
  std::int32_t number = 0;

 private:
  void note_load_error();

  mutable Ref<ParameterOriginal> original_;
  /// Own copies; empty until the first is asked for, null where none was yet.
  mutable std::vector<Ref<Input>> own_;
  std::unique_ptr<std::vector<Value>> load_errors_;
};

}  // namespace kavel::checks
