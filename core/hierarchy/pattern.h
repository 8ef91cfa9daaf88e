// The hierarchy pattern: the active project's rules and rule tree in the form that the matcher
// reads. Built whole by `set` and read-only until the next one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/runtime/list.h"

namespace kavel::hierarchy {

using runtime::List;
using runtime::Ref;
using runtime::Value;

/// Allowed number of objects under one parent, both ends included.
struct RuleRange {
  std::int64_t minimum = 1;
  std::int64_t maximum = 1;
  [[nodiscard]] bool contains(std::int64_t count) const noexcept {
    return minimum <= count && count <= maximum;
  }
  friend bool operator==(const RuleRange&, const RuleRange&) = default;
};

/// What the pattern copies from a rule of the project.
struct RuleConfig {
  std::string stamp;
  std::string name;
  std::string regex;
  std::vector<std::string> types;
  RuleRange range;
  // Carried for the user interface and never read here.
  Value icon;
  Value color;
  Value range_object;
};

/// A rule as the matcher reads it.
class PatternRule final : public runtime::Object {
 public:
  PatternRule(RuleConfig config, Value checklist);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Whether it accepts objects of that unified type; a rule without types accepts any.
  [[nodiscard]] bool accepts_type(std::string_view type) const;
  [[nodiscard]] bool is_optional() const noexcept { return config_.range.contains(0); }
  /// Every allowed number, ascending. Throws a value error for more than a million.
  [[nodiscard]] std::vector<std::int64_t> numbers() const;

  [[nodiscard]] const RuleConfig& config() const noexcept { return config_; }
  /// The anchor definitions in its expression, in order.
  [[nodiscard]] const std::vector<std::string>& definitions() const noexcept {
    return definitions_;
  }
  [[nodiscard]] const Value& checklist() const noexcept { return checklist_; }
  /// The types that it accepts, a list that others hold; `config` has none.
  [[nodiscard]] const Ref<List<std::string>>& types() const noexcept { return types_; }

  /// Equality of stamp, name, expression, types (in order) and range.
  friend bool operator==(const PatternRule& left, const PatternRule& right);

 private:
  RuleConfig config_;
  std::vector<std::string> definitions_;
  Ref<List<std::string>> types_;
  Value checklist_;
};

/// One item of the pattern tree. Its rule is null when the tree names an unknown stamp; such an
/// item demands nothing and matches nothing.
class Scope final : public runtime::Object {
 public:
  using Children = List<Ref<Scope>>;

  Scope(Ref<PatternRule> item_rule, Ref<Children> item_children)
      : rule(std::move(item_rule)), children(std::move(item_children)) {}
  /// Takes a deep tree apart without recursion.
  ~Scope() override;

  void each_reference(runtime::ReferenceVisitor& visitor) const override {
    visitor(rule);
    visitor(children);
  }
  void drop_references() noexcept override { children->drop_references(); }

  [[nodiscard]] bool is_ghost() const;

  Ref<PatternRule> rule;
  Ref<Children> children;
};

/// One node of a project's rule tree, in pre-order; `parent` is the position of its parent or -1.
struct TreeItem {
  std::string stamp;
  std::int32_t parent;
};

class Pattern final : public runtime::Object {
 public:
  explicit Pattern(Value check_classes);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Replaces rules (with their check lists) and tree. Of rules with one stamp the last counts.
  /// Nothing of the interpreter runs between the first change and the last.
  void set(std::vector<std::pair<RuleConfig, Value>> rules, const std::vector<TreeItem>& tree);

  /// The effective top level: the children of the ghost item, else the top-level list itself.
  [[nodiscard]] Ref<Scope::Children> get() const;
  /// The first top-level ghost item, or null.
  [[nodiscard]] Ref<Scope> get_ghost() const;
  [[nodiscard]] Ref<PatternRule> find(const std::string& stamp) const;

  [[nodiscard]] const Value& check_classes() const noexcept { return check_classes_; }
  [[nodiscard]] const Ref<Scope::Children>& hierarchy() const noexcept { return hierarchy_; }
  [[nodiscard]] const std::unordered_map<std::string, Ref<PatternRule>>& rules() const noexcept {
    return rules_;
  }

 private:
  Value check_classes_;
  std::unordered_map<std::string, Ref<PatternRule>> rules_;
  Ref<Scope::Children> hierarchy_;
};

}  // namespace kavel::hierarchy
