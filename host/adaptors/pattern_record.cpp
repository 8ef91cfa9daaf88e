#include "host/adaptors/pattern_record.h"

#include <limits>
#include <unordered_set>

#include "core/foundation/errors.h"

namespace kavel::host {
namespace {

using hierarchy::RuleConfig;
using hierarchy::TreeItem;

/// A whole number of any size, held within what 64 bits can count to.
std::int64_t whole_number(const py::object& object) {
  int overflow = 0;
  const long long value = PyLong_AsLongLongAndOverflow(object.ptr(), &overflow);
  if (overflow != 0) {
    return overflow > 0 ? std::numeric_limits<std::int64_t>::max()
                        : std::numeric_limits<std::int64_t>::min();
  }
  if (value == -1 && PyErr_Occurred() != nullptr) throw py::error_already_set();
  return value;
}

/// With a stack: a tree comes from a file and can be deep. A host may hang a node below itself.
class TreeReader {
 public:
  std::vector<TreeItem> read(const py::object& root) {
    push(root, -1);
    while (!pending_.empty()) {
      const auto [node, parent] = std::move(pending_.back());
      pending_.pop_back();
      if (!node) {
        on_way_.erase(way_.back().ptr());
        way_.pop_back();
        continue;
      }
      items_.push_back({from_text(node.attr("rule").attr("stamp")), parent});
      push(node, static_cast<std::int32_t>(items_.size()) - 1);
    }
    return std::move(items_);
  }

 private:
  void push(const py::object& node, std::int32_t position) {
    const std::vector<Value> children = values(node.attr("children"));
    if (children.empty()) return;
    if (!on_way_.insert(node.ptr()).second) {
      throw foundation::Error(foundation::ErrorKind::recursion, "a rule tree hangs below itself");
    }
    way_.push_back(node);
    // Marks where the way below the node ends.
    pending_.emplace_back(py::object(), position);
    for (auto child = children.rbegin(); child != children.rend(); ++child) {
      pending_.emplace_back(from_value(*child), position);
    }
  }

  std::vector<TreeItem> items_;
  /// Nodes to be read with the position of their parent; none at the end of a node's children.
  std::vector<std::pair<py::object, std::int32_t>> pending_;
  /// The nodes between the root and the one being read.
  std::vector<py::object> way_;
  std::unordered_set<const PyObject*> on_way_;
};

}  // namespace

RuleConfig rule_config(const py::object& rule) {
  const py::object range = rule.attr("range");
  return {.stamp = from_text(rule.attr("stamp")),
          .name = from_text(rule.attr("name")),
          .regex = from_text(rule.attr("regex")),
          .types = texts(rule.attr("types")),
          .range = {whole_number(range.attr("minimum")), whole_number(range.attr("maximum"))},
          .icon = to_value(rule.attr("icon")),
          .color = to_value(rule.attr("color")),
          .range_object = to_value(range)};
}

std::vector<std::pair<RuleConfig, Value>> rule_configs(const Value& classes,
                                                       const py::object& rules) {
  const py::object make_list = py::module_::import("core").attr("Check").attr("_List");
  std::vector<std::pair<RuleConfig, Value>> configs;
  for (const Value& item : values(rules)) {
    const py::object rule = from_value(item);
    const py::object checklist = make_list(from_value(classes));
    checklist.attr("load")(rule.attr("check_config"));
    configs.emplace_back(rule_config(rule), to_value(checklist));
  }
  return configs;
}

std::vector<TreeItem> tree_items(const py::object& root) { return TreeReader().read(root); }

}  // namespace kavel::host
