// What the pattern asks of a rule's check list, whatever class it is of.
#pragma once

namespace kavel::hierarchy {

class ChecklistPort {
 public:
  virtual ~ChecklistPort() = default;
  /// Whether it has no controls.
  [[nodiscard]] virtual bool is_empty() = 0;
  /// Whether it is bound to a configuration that says something.
  [[nodiscard]] virtual bool is_configured() = 0;
};

/// Whether objects of a rule with that list have anything to check; null stands for no rule.
[[nodiscard]] inline bool is_verifiable(ChecklistPort* checklist) {
  return checklist != nullptr && !checklist->is_empty() && checklist->is_configured();
}

}  // namespace kavel::hierarchy
