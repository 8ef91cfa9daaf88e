// The tree that arranges the rules of a project into the expected hierarchy.
//
// Nodes hold their rules, so a rule that leaves its list leaves no gap in the tree. A host may
// build trees of any depth and even hang a node below itself: walks go with a stack, what is
// written out is bounded in depth, and long chains are taken apart without recursion.
#pragma once

#include <string>

#include "core/foundation/json.h"
#include "core/projects/rule.h"
#include "core/runtime/list.h"

namespace kavel::projects {

class RuleList;

/// Levels of a tree that can be written and read; with the lists and objects around them such a
/// tree is the deepest that a project file can hold.
inline constexpr int kMaximumTreeDepth = 240;

class TreeNode : public runtime::Object {
 public:
  using Nodes = runtime::List<runtime::Ref<TreeNode>>;

  TreeNode() : children_(runtime::make<Nodes>()) {}
  ~TreeNode() override;

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(children_); }
  void drop_references() noexcept override;

  [[nodiscard]] const runtime::Ref<Nodes>& children() const noexcept { return children_; }
  /// The rule of this node; null for the root.
  [[nodiscard]] virtual runtime::Ref<Rule> rule() const { return nullptr; }

  /// Adds `node` unless it is a child already.
  void append(const runtime::Ref<TreeNode>& node);
  /// Removes `node` if it is a child.
  void remove(const runtime::Ref<TreeNode>& node);
  /// Takes the whole tree below this node apart: every node below loses its children too.
  void clear();

  /// Array of {"stamp", "children"}; throws a recursion error for more than kMaximumTreeDepth
  /// levels.
  [[nodiscard]] foundation::Json children_data() const;
  /// The names of the rules, one to a line, each level two blanks deeper. Throws as
  /// `children_data` does.
  [[nodiscard]] std::string text() const;

 private:
  runtime::Ref<Nodes> children_;
};

/// A place in the hierarchy, taken by objects that match its rule.
class RuleNode final : public TreeNode {
 public:
  explicit RuleNode(runtime::Ref<Rule> rule) : rule_(std::move(rule)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override {
    TreeNode::each_reference(visitor);
    visitor(rule_);
  }
  [[nodiscard]] runtime::Ref<Rule> rule() const override { return rule_; }
  /// {"stamp", "children"}; throws as `children_data` does.
  [[nodiscard]] foundation::Json data() const;

 private:
  const runtime::Ref<Rule> rule_;
};

/// The invisible top of a tree.
class RuleTree final : public TreeNode {
 public:
  [[nodiscard]] bool is_empty() const noexcept { return children()->items.empty(); }
  /// Whether a top-level node bears this very rule.
  [[nodiscard]] bool is_root(const Rule& rule) const;
  /// Replaces the tree by that of `data`, an array of {"stamp", "children"}. Elements of another
  /// shape and those whose stamp `rules` does not know are dropped with all below them and a
  /// warning. Throws for anything but an array and for more than kMaximumTreeDepth levels; the tree
  /// is then unchanged.
  void load(const foundation::Json& data, const RuleList& rules);
};

}  // namespace kavel::projects
