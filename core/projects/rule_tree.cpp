#include "core/projects/rule_tree.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/foundation/errors.h"
#include "core/foundation/logger.h"
#include "core/foundation/text.h"
#include "core/projects/rule_list.h"

namespace kavel::projects {
namespace {

using foundation::Error;
using foundation::ErrorKind;
using foundation::Json;
using runtime::Ref;

using NodeList = std::vector<Ref<TreeNode>>;
/// The first rule of each stamp.
using RuleIndex = std::unordered_map<std::string, Ref<Rule>>;

void assert_depth(int depth) {
  if (depth > kMaximumTreeDepth) {
    throw Error(ErrorKind::recursion,
                "a rule tree of more than " + std::to_string(kMaximumTreeDepth) + " levels");
  }
}

Json data_at(const TreeNode& node, int depth) {
  assert_depth(depth);
  Json::Array data;
  for (const Ref<TreeNode>& child : node.children()->items) {
    const Ref<Rule> rule = child->rule();
    data.push_back(Json::Map{{"stamp", rule ? Json(rule->stamp) : Json()},
                             {"children", data_at(*child, depth + 1)}});
  }
  return data;
}

void add_lines(const TreeNode& node, int depth, std::vector<std::string>& lines) {
  assert_depth(depth);
  const std::string indent(static_cast<std::size_t>(depth) * 2, ' ');
  for (const Ref<TreeNode>& child : node.children()->items) {
    const Ref<Rule> rule = child->rule();
    for (const std::string& line : foundation::split(rule ? rule->name : "", "\n")) {
      lines.push_back(indent + line);
    }
    add_lines(*child, depth + 1, lines);
  }
}

Ref<TreeNode> load_node(const Json& data, const RuleIndex& rules, int depth);

NodeList load_nodes(const Json::Array& data, const RuleIndex& rules, int depth) {
  assert_depth(depth);
  NodeList nodes;
  for (const Json& item : data) {
    if (Ref<TreeNode> node = load_node(item, rules, depth)) {
      nodes.push_back(std::move(node));
    } else {
      foundation::log_warning("Incompatible Hierarchy Settings");
    }
  }
  return nodes;
}

/// Null for what is dropped.
Ref<TreeNode> load_node(const Json& data, const RuleIndex& rules, int depth) {
  const auto stamp = data.optional_text("stamp");
  const auto rule = stamp ? rules.find(*stamp) : rules.end();
  if (rule == rules.end()) return nullptr;
  Ref<TreeNode> node = runtime::make<RuleNode>(rule->second);
  const Json* children = data.find("children");
  if (children == nullptr || children->is_null()) return node;
  if (children->array() == nullptr) return nullptr;
  node->children()->items = load_nodes(*children->array(), rules, depth + 1);
  return node;
}

}  // namespace

TreeNode::~TreeNode() {
  // A chain of nodes would fall recursively, one native frame per level. The outermost destructor
  // collects the lists of all that fall with it instead and lets go of them one by one.
  thread_local std::vector<Ref<Nodes>>* falling = nullptr;
  if (falling != nullptr) {
    falling->push_back(std::move(children_));
    return;
  }
  std::vector<Ref<Nodes>> collected;
  falling = &collected;
  collected.push_back(std::move(children_));
  while (!collected.empty()) {
    const Ref<Nodes> list = std::move(collected.back());
    collected.pop_back();
  }
  falling = nullptr;
}

void TreeNode::drop_references() noexcept {
  NodeList dropped;
  std::swap(dropped, children_->items);
}

void TreeNode::append(const Ref<TreeNode>& node) {
  if (std::ranges::find(children_->items, node) == children_->items.end()) {
    children_->items.push_back(node);
  }
}

void TreeNode::remove(const Ref<TreeNode>& node) {
  const Ref<TreeNode> kept = node;
  const auto found = std::ranges::find(children_->items, kept);
  if (found != children_->items.end()) children_->items.erase(found);
}

void TreeNode::clear() {
  NodeList emptied;
  std::swap(emptied, children_->items);
  for (std::size_t index = 0; index < emptied.size(); ++index) {
    NodeList below;
    std::swap(below, emptied[index]->children_->items);
    emptied.insert(emptied.end(), below.begin(), below.end());
  }
}

Json TreeNode::children_data() const { return data_at(*this, 0); }

Json RuleNode::data() const {
  return Json::Map{{"stamp", rule_ ? Json(rule_->stamp) : Json()}, {"children", children_data()}};
}

std::string TreeNode::text() const {
  std::vector<std::string> lines;
  const Ref<Rule> own = rule();
  if (own) lines = foundation::split(own->name, "\n");
  add_lines(*this, own ? 1 : 0, lines);
  return foundation::join(lines, "\n");
}

bool RuleTree::is_root(const Rule& rule) const {
  return std::ranges::any_of(children()->items,
                             [&rule](const auto& node) { return node->rule().get() == &rule; });
}

void RuleTree::load(const Json& data, const RuleList& rules) {
  if (data.array() == nullptr) throw Error(ErrorKind::type, "a rule tree is read from a list");
  RuleIndex index;
  for (const Ref<Rule>& rule : rules.rules()->items) index.try_emplace(rule->stamp, rule);
  NodeList nodes = load_nodes(*data.array(), index, 0);
  std::swap(children()->items, nodes);
}

}  // namespace kavel::projects
