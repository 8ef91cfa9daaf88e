// What the task queue asks of the check classes, their instances and their controls, all of them
// the interpreter's own objects.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/checks/parameter_task.h"

namespace kavel::checks {

class CheckPort {
 public:
  enum class Outcome : std::uint8_t { passed, issues };
  enum class Flag : std::uint8_t { could_be_fixed, could_be_selected, scene_oriented };

  /// How a control's check is to be run.
  struct Plan {
    Value check_class;
    std::vector<Ref<ParameterTask>> tasks;
  };

  virtual ~CheckPort() = default;

  /// A new instance with an empty result and its flags off; `suffix` ends its long name.
  [[nodiscard]] virtual Value make(const Value& check_class, const std::string& suffix) = 0;
  /// Empties the result and turns the flags off.
  virtual void forget(const Value& check) = 0;
  /// Runs the check. Throws whatever it raises but its report of issues.
  [[nodiscard]] virtual Outcome run(const Value& check, const Value& path,
                                    const Ref<ParameterTask>& parameters) = 0;
  virtual void fix(const Value& check, const Value& path, const Ref<ParameterTask>& parameters) = 0;
  [[nodiscard]] virtual Value select(const Value& check) = 0;
  [[nodiscard]] virtual std::string message(const Value& check) = 0;
  /// False when the attribute is missing or fails.
  [[nodiscard]] virtual bool flag(const Value& check_or_class, Flag flag) = 0;
  /// The long name; the name of the class when it has none.
  [[nodiscard]] virtual std::string name(const Value& check_or_class) = 0;

  /// Whether the caller alone holds the object, and nobody left anything on it. Its parts are not
  /// asked.
  [[nodiscard]] virtual bool is_sole(const runtime::Object& object) = 0;

  [[nodiscard]] virtual Plan plan(const Value& control) = 0;
  [[nodiscard]] virtual std::string class_id(const Value& control) = 0;
};

}  // namespace kavel::checks
