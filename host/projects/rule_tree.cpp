#include "core/projects/rule_tree.h"

#include "core/projects/rule_list.h"
#include "host/classes.h"
#include "host/projects/projects.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using projects::Rule;
using projects::RuleList;
using projects::RuleNode;
using projects::RuleTree;
using projects::TreeNode;

RuleNode* make_node(const Ref<Rule>& rule, const py::object& children) {
  std::vector<Ref<TreeNode>> nodes;
  if (!children.is_none()) nodes = detail::elements<Ref<TreeNode>>(children);
  auto* node = new RuleNode(rule);
  node->children()->items = std::move(nodes);
  return node;
}

void bind_node(py::handle tree) {
  auto node = define<TreeNode>(tree, "_Node", "What the nodes and the root of a tree share.");
  node.def_property_readonly(
      "children", [](const TreeNode& self) { return self.children(); },
      "The nodes below, a live list.");
  node.def("append", &TreeNode::append, py::arg("node").none(false),
           "Adds `node` unless it is a child already.");
  node.def("remove", &TreeNode::remove, py::arg("node").none(false),
           "Removes `node` if it is a child.");
  node.def("clear", &TreeNode::clear, "Takes the whole tree below this node apart.");
  node.def(
      "create_node",
      [](const TreeNode&, const Ref<Rule>& rule) { return runtime::make<RuleNode>(rule); },
      py::arg("rule").none(false), "A new node for `rule`; it is not added.");
  node.def("__str__", &TreeNode::text,
           "The names of the rules, one to a line, each level two blanks deeper. RecursionError "
           "for more than 240 levels.");
}

}  // namespace

void bind_rule_tree(py::handle settings) {
  const py::object tree = namespace_class(settings.attr("Rule"), "Tree",
                                          "The tree that arranges rules into a hierarchy.");
  bind_node(tree);
  bind_list<Ref<TreeNode>>(tree, "_NodeList", "A live list of nodes.");
  auto node = define<RuleNode, TreeNode>(tree, "Node", "A place in the hierarchy.");
  define_init(
      node,
      [](const Ref<Rule>& rule, const py::object& children) { return make_node(rule, children); },
      py::arg("rule").none(false), py::arg("children") = py::none(),
      "For a rule, with an optional list of the nodes below.");
  node.def_property_readonly("rule", &RuleNode::rule, "The rule that objects here match.");
  node.def_property_readonly("data", &RuleNode::data,
                             "{\"stamp\", \"children\"}. RecursionError for more than 240 levels.");

  auto root = define<RuleTree, TreeNode>(tree, "Root", "The invisible top of a tree.");
  define_init(
      root, [] { return new RuleTree(); }, "An empty tree.");
  root.def_property_readonly("is_empty", &RuleTree::is_empty, "Whether there is no node.");
  root.def(
      "is_root", [](const RuleTree& self, const Ref<Rule>& rule) { return self.is_root(*rule); },
      py::arg("rule").none(false), "Whether a top-level node bears this very rule.");
  root.def_property_readonly(
      "data", &RuleTree::children_data,
      "List of {\"stamp\", \"children\"}. RecursionError for more than 240 levels.");
  root.def(
      "load",
      [](RuleTree& self, const foundation::Json& data, const Ref<RuleList>& rules) {
        self.load(data, *rules);
      },
      py::arg("data"), py::arg("rules").none(false),
      "Replaces the tree. Elements of another shape than `data` has, or whose stamp `rules` does "
      "not know, are dropped with all below them and a warning. TypeError for anything but a list, "
      "RecursionError for more than 240 levels; the tree is then unchanged.");
}

}  // namespace kavel::host
