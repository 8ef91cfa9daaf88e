#include "core/hierarchy/pattern.h"

#include "host/adaptors/pattern_record.h"
#include "host/hierarchy/bindings.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using hierarchy::Pattern;
using hierarchy::PatternRule;
using hierarchy::RuleConfig;
using hierarchy::Scope;

void bind_rule_fields(py::class_<PatternRule>& rule) {
  const auto text = [&rule](const char* name, std::string RuleConfig::*field, const char* doc) {
    rule.def_property_readonly(
        name, [field](const PatternRule& self) { return self.config().*field; }, doc);
  };
  text("stamp", &RuleConfig::stamp, "The rule's identity in the project.");
  text("name", &RuleConfig::name, "Display name; the ghost type's name for the ghost rule.");
  text("regex", &RuleConfig::regex, "The expression that names must match; may hold anchors.");
  rule.def_property_readonly("types", &PatternRule::types,
                             "Unified types that it accepts, a live list; any when empty.");
  const auto object = [&rule](const char* name, Value RuleConfig::*field, const char* doc) {
    rule.def_property_readonly(
        name, [field](const PatternRule& self) { return self.config().*field; }, doc);
  };
  object("icon", &RuleConfig::icon, "Icon key or none.");
  object("color", &RuleConfig::color, "Colour, a hash sign and six hexadecimal digits, or none.");
  object("range", &RuleConfig::range_object, "Range with `minimum` and `maximum`, inclusive.");
  rule.def_property_readonly("checklist", &PatternRule::checklist,
                             "The checks configured for objects of this rule.");
}

void bind_rule_questions(py::class_<PatternRule>& rule) {
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

void bind_rule(py::handle pattern) {
  auto rule = define<PatternRule>(pattern, "Rule", "A rule as the matcher reads it.");
  define_init(
      rule,
      [](const py::object& config, const py::object& checklist) {
        return new PatternRule(rule_config(config), to_value(checklist));
      },
      py::arg("config"), py::arg("checklist"));
  bind_rule_fields(rule);
  bind_rule_questions(rule);
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
        self.set(std::move(rules), tree_items(record.attr("pattern")));
      },
      py::arg("project_settings_record"), "Rebuilds from a record's `rules` and `pattern`.");
  pattern.def("get", &Pattern::get, "The effective top level, a live list of items.");
  pattern.def("get_ghost", &Pattern::get_ghost, "The first top-level ghost item, or none.");
  pattern.def(
      "has_ghost", [](const Pattern& self) { return static_cast<bool>(self.get_ghost()); },
      "Whether there is a ghost item.");
  bind_checklists(pattern);
  pattern.def_property_readonly("check_classes", &Pattern::check_classes,
                                "The check class registry.");
  pattern.def_property_readonly("_hierarchy", &Pattern::hierarchy, "The top-level items.");
  pattern.def_property_readonly(
      "_rules",
      [](const Pattern& self) {
        py::dict rules;
        const auto known = self.rules();
        for (const auto& [stamp, rule] : known) rules[to_text(stamp)] = expose(rule);
        return rules;
      },
      "A copy: stamp -> rule.");
}

}  // namespace kavel::host
