// The rules of a project in their order, each with a name of its own.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/foundation/json.h"
#include "core/hierarchy/names_control.h"
#include "core/projects/rule.h"
#include "core/runtime/list.h"

namespace kavel::projects {

/// Names are unique among the rules that are appended or renamed here; a file may hold equal ones.
class RuleList final : public runtime::Object {
 public:
  using Rules = runtime::List<runtime::Ref<Rule>>;

  RuleList();
  /// From a list of rule data; an error names the position of the rule that it is about.
  explicit RuleList(const foundation::Json& data);
  /// A list of the three predefined rules.
  [[nodiscard]] static runtime::Ref<RuleList> predefined();

  void each_reference(runtime::ReferenceVisitor& visitor) const override {
    visitor(rules_);
    visitor(names_);
  }
  void drop_references() noexcept override { rules_->drop_references(); }

  [[nodiscard]] const runtime::Ref<Rules>& rules() const noexcept { return rules_; }
  [[nodiscard]] const runtime::Ref<hierarchy::NamesControl>& names_control() const noexcept {
    return names_;
  }
  /// The rules' data, in order.
  [[nodiscard]] foundation::Json data() const;
  /// The rules' names in code-point order.
  [[nodiscard]] std::vector<std::string> names() const;
  [[nodiscard]] bool is_empty() const noexcept { return rules_->items.empty(); }
  [[nodiscard]] bool has_ghost() const noexcept;
  /// Whether no other rule of the list bears the name of `rule`.
  [[nodiscard]] bool has_unique_name(const Rule& rule) const noexcept;
  /// The first rule with that stamp, or null.
  [[nodiscard]] runtime::Ref<Rule> get(const std::string& stamp) const;

  /// Registers the names of the rules anew.
  void sync_names();
  /// Appends `rule` under a free name. Refused (false, nothing changes) for a second ghost and for
  /// a rule that is in the list.
  bool append(const runtime::Ref<Rule>& rule);
  /// Removes this very rule; false when it is not in the list.
  bool remove(const runtime::Ref<Rule>& rule);
  /// Gives `rule` the name `name` or a free variant of it and returns that; a rule keeps its own
  /// name. Nothing happens to a rule that is not in the list.
  std::optional<std::string> rename(const runtime::Ref<Rule>& rule, const std::string& name);
  /// The named rules first, in the order given, then the rest in the order they have. Rules that
  /// are not in the list and repetitions do not count. Rules of one stamp stay together.
  void reorder(std::span<const runtime::Ref<Rule>> order);

 private:
  [[nodiscard]] bool contains(const Rule& rule) const noexcept;

  const runtime::Ref<Rules> rules_;
  const runtime::Ref<hierarchy::NamesControl> names_;
};

}  // namespace kavel::projects
