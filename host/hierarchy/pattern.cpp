#include "core/hierarchy/pattern.h"

#include <unordered_set>

#include "core/foundation/errors.h"
#include "host/hierarchy/bindings.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using hierarchy::Pattern;
using hierarchy::PatternRule;
using hierarchy::RuleConfig;
using hierarchy::Scope;
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

/// The tree in pre-order, with a stack: it comes from a file and can be deep. A host may hang a
/// node below itself, which is an error.
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

void bind_rule(py::handle pattern) {
  auto rule = define<PatternRule>(pattern, "Rule", "A rule as the matcher reads it.");
  define_init(
      rule,
      [](const py::object& config, const py::object& checklist) {
        return new PatternRule(rule_config(config), to_value(checklist));
      },
      py::arg("config"), py::arg("checklist"));
  const auto text = [&rule](const char* name, std::string RuleConfig::*field, const char* doc) {
    rule.def_property_readonly(
        name, [field](const PatternRule& self) { return self.config().*field; }, doc);
  };
  text("stamp", &RuleConfig::stamp, "The rule's identity in the project.");
  text("name", &RuleConfig::name, "Display name; the ghost type's name for the ghost rule.");
  text("regex", &RuleConfig::regex, "The expression that names must match; may hold anchors.");
  rule.def_property_readonly("types", &PatternRule::types,
                             "Unified types that it accepts; any when empty.");
  const auto object = [&rule](const char* name, Value RuleConfig::*field, const char* doc) {
    rule.def_property_readonly(
        name, [field](const PatternRule& self) { return self.config().*field; }, doc);
  };
  object("icon", &RuleConfig::icon, "Icon key or none.");
  object("color", &RuleConfig::color, "Colour, a hash sign and six hexadecimal digits, or none.");
  object("range", &RuleConfig::range_object, "Range with `minimum` and `maximum`, inclusive.");
  rule.def_property_readonly("checklist", &PatternRule::checklist,
                             "The checks configured for objects of this rule.");
  rule.def(
      "get_range",
      [](const PatternRule& self) {
        py::set numbers;
        for (const std::int64_t number : self.numbers()) numbers.add(number);
        return numbers;
      },
      "The set of allowed numbers of objects; ValueError for more than a million.");
  rule.def("is_optional", &PatternRule::is_optional, "Whether it may match nothing.");
  rule.def("__eq__", [](const PatternRule& self, const py::object& other) {
    return py::isinstance<PatternRule>(other) && self == other.cast<const PatternRule&>();
  });
  rule.def("__hash__", [](const PatternRule& self) {
    const RuleConfig& config = self.config();
    return py::hash(py::make_tuple(config.stamp, config.name, config.regex));
  });
}

void bind_scope(py::handle pattern) {
  bind_list<Ref<Scope>>(pattern, "_ScopeList", "A live list of pattern items.");
  auto scope = define<Scope>(pattern, "Scope", "One item of the pattern tree.");
  define_init(
      scope,
      [](const OrNone<PatternRule>& rule, const py::object& children) {
        if (py::isinstance<Scope::Children>(children)) {
          return new Scope(rule.reference, children.cast<Ref<Scope::Children>>());
        }
        return new Scope(rule.reference,
                         runtime::make<Scope::Children>(detail::elements<Ref<Scope>>(children)));
      },
      py::arg("rule"), py::arg("children"));
  scope.def_property_readonly(
      "rule", [](const Scope& self) { return self.rule; },
      "The rule; none when the tree names a stamp that the rules lack.");
  scope.def_property_readonly(
      "children", [](const Scope& self) { return self.children; },
      "The child items in search order, a live list.");
}

}  // namespace

void bind_pattern(py::handle hierarchy) {
  auto pattern = define<Pattern>(hierarchy, "Pattern",
                                 "The active project's rules and rule tree, ready for matching.");
  bind_rule(pattern);
  bind_scope(pattern);
  bind_sorter(pattern);
  define_init(
      pattern, [](const py::object& classes) { return new Pattern(to_value(classes)); },
      py::arg("check_classes"));
  pattern.def(
      "set",
      [](Pattern& self, const py::object& record) {
        auto rules = rule_configs(self.check_classes(), record.attr("rules"));
        self.set(std::move(rules), TreeReader().read(record.attr("pattern")));
      },
      py::arg("project_settings_record"), "Rebuilds from a record's `rules` and `pattern`.");
  pattern.def("get", &Pattern::get, "The effective top level, a live list of items.");
  pattern.def("get_ghost", &Pattern::get_ghost, "The first top-level ghost item, or none.");
  pattern.def(
      "has_ghost", [](const Pattern& self) { return static_cast<bool>(self.get_ghost()); },
      "Whether there is a ghost item.");
  const auto checklist = [](const Pattern& self, const std::string& stamp) {
    const Ref<PatternRule> rule = self.find(stamp);
    return rule ? from_value(rule->checklist()) : py::object(py::none());
  };
  pattern.def("get_checklist", checklist, py::arg("stamp"),
              "The check list of the rule with that stamp, or none.");
  pattern.def(
      "is_verifiable",
      [checklist](const Pattern& self, const std::string& stamp) {
        const py::object list = checklist(self, stamp);
        if (list.is_none() || list.attr("is_empty")().cast<bool>()) return false;
        const py::object config = list.attr("config");
        return !config.is_none() && !config.attr("is_empty")().cast<bool>();
      },
      py::arg("stamp"), "Whether objects of that rule have anything to check.");
  pattern.def_property_readonly("check_classes", &Pattern::check_classes,
                                "The check class registry.");
  pattern.def_property_readonly("_hierarchy", &Pattern::hierarchy, "The top-level items.");
  pattern.def_property_readonly(
      "_rules",
      [](const Pattern& self) {
        py::dict rules;
        for (const auto& [stamp, rule] : self.rules()) rules[to_text(stamp)] = expose(rule);
        return rules;
      },
      "A copy: stamp -> rule.");
}

}  // namespace kavel::host
