#include "core/projects/rule.h"

#include "core/facade/constants.h"
#include "host/projects/projects.h"

namespace kavel::host {
namespace {

using foundation::Json;
using projects::Range;
using projects::Rule;

/// A property that accepts a text or none.
void optional_property(py::class_<Rule>& rule, const char* name,
                       std::optional<std::string> Rule::*field, const char* doc) {
  rule.def_property(
      name, [field](const Rule& self) { return self.*field; },
      [field, name](Rule& self, const py::object& value) {
        self.*field = value.is_none() ? std::nullopt : std::optional(assert_text(value, name));
      },
      doc);
}

void bind_range(py::handle rule) {
  auto range = define<Range>(rule, "Range", "How many objects may match a rule in one place.");
  define_init(
      range, [](const Json& minimum, const Json& maximum) { return new Range(minimum, maximum); },
      py::arg("minimum"), py::arg("maximum"),
      "Both ends count. ValueError for anything but whole numbers within +-2^53.");
  range.def_property("minimum", &Range::minimum, &Range::set_minimum, "The least count.");
  range.def_property("maximum", &Range::maximum, &Range::set_maximum, "The greatest count.");
  range.def_property_readonly("data", &Range::data, "[minimum, maximum]");
  range.def("__eq__", [](const Range& self, const py::object& other) {
    return py::isinstance<Range>(other) && self == other.cast<const Range&>();
  });
}

}  // namespace

void bind_rule(py::handle settings) {
  auto rule = define<Rule>(settings, "Rule",
                           "A naming rule: which objects match it, how often they may stand in "
                           "one place, which checks run on them, how it is shown.");
  define_init(
      rule, [](const Json& data) { return new Rule(data); }, py::arg("data"),
      "From a dict with the keys of `data`, of which any may be missing. AssertionError for a "
      "value of a wrong type, ValueError for a range that is no pair of whole numbers.");
  bind_range(rule);
  text_property(rule, "stamp", &Rule::stamp, "Identity: 32 hexadecimal digits, random at first.");
  text_property(rule, "name", &Rule::name, "The name, unique within a list of rules.");
  text_property(rule, "regex", &Rule::regex, "Regular expression that names of objects match.");
  optional_property(rule, "color", &Rule::color, "\"#\" and six hexadecimal digits, or none.");
  optional_property(rule, "icon", &Rule::icon, "Name of an icon, or none.");
  rule.def_property(
      "types", [](const Rule& self) { return self.types(); },
      [](Rule& self, const py::object& types) { self.set_types(list_argument(types)); },
      "Unified types that match, a live list of texts; assigning refills it in place.");
  rule.def_property_readonly(
      "range", [](const Rule& self) { return self.range(); },
      "How many objects may match in one place; the same object for life.");
  rule.def_property(
      "check_config", [](const Rule& self) { return self.check_config; },
      [](Rule& self, const Ref<services::CheckConfig>& config) {
        foundation::assert_that(static_cast<bool>(config), "a check configuration is expected");
        self.check_config = config;
      },
      "Which checks run on matching objects, and their parameters.");
  rule.def_property_readonly("is_ghost", &Rule::is_ghost,
                             "Whether it stands for the nameless level above the hierarchies.");
  rule.def_property_readonly("data", &Rule::data,
                             "{\"stamp\", \"name\", \"regex\", \"types\", \"checklist\", "
                             "\"range\", \"color\", \"icon\"}");
}

}  // namespace kavel::host
