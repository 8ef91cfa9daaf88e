#include "core/projects/rule_list.h"

#include "host/projects/projects.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using projects::Rule;
using projects::RuleList;

void reorder(RuleList& self, const py::iterable& order) {
  std::vector<Ref<Rule>> rules;
  for (const py::handle item : order) {
    if (py::isinstance<Rule>(item)) rules.push_back(item.cast<Ref<Rule>>());
  }
  self.reorder(rules);
}

void bind_queries(py::class_<RuleList>& list) {
  list.def("__iter__", [](const RuleList& self) { return py::iter(expose(self.rules())); });
  list.def_property_readonly(
      "_array", [](const RuleList& self) { return self.rules(); }, "The rules, a live list.");
  list.def_property_readonly(
      "_control", [](const RuleList& self) { return self.names_control(); },
      "The registry of the rules' names.");
  list.def_property_readonly("data", &RuleList::data, "List of the rules' data, in order.");
  list.def_property_readonly(
      "names", [](const RuleList& self) { return text_list(self.names()); },
      "The rules' names, sorted.");
  list.def_property_readonly("is_empty", &RuleList::is_empty, "Whether there is no rule.");
  list.def_property_readonly("has_ghost", &RuleList::has_ghost, "Whether a rule is a ghost.");
  list.def("has_unique_name", &RuleList::has_unique_name, py::arg("rule").none(false),
           "Whether no other rule of the list bears the name of `rule`.");
  list.def(
      "get",
      [](const RuleList& self, const py::object& stamp) -> Ref<Rule> {
        return is_text(stamp) ? self.get(from_text(stamp)) : nullptr;
      },
      py::arg("stamp"), "The first rule with that stamp, or none.");
}

void bind_changes(py::class_<RuleList>& list) {
  list.def("sync_names", &RuleList::sync_names, "Registers the names of the rules anew.");
  list.def("append", &RuleList::append, py::arg("rule").none(false),
           "Appends `rule` under a free name and returns Success. Failure, and no change, for a "
           "second ghost and for a rule that is in the list.");
  list.def("remove", &RuleList::remove, py::arg("rule").none(false),
           "Removes this very rule; Failure when it is not in the list.");
  list.def(
      "rename",
      [](RuleList& self, const Ref<Rule>& rule, const py::object& name) {
        return self.rename(rule, assert_text(name, "name"));
      },
      py::arg("rule").none(false), py::arg("name"),
      "Gives `rule` that name or a free variant of it, which is returned; none and no change for a "
      "rule that is not in the list. AssertionError for a name that is no text.");
  list.def("reorder", &reorder, py::arg("rules"),
           "The given rules of this list first, in their order, then the others as they stand; "
           "anything else among `rules` is skipped.");
}

}  // namespace

void bind_rule_list(py::handle settings) {
  const py::object rule = settings.attr("Rule");
  bind_list<Ref<Rule>>(rule, "_RuleList", "A live list of rules.");
  auto list = define<RuleList>(rule, "List", "The rules of a project, in their order.");
  define_init(
      list, [](const foundation::Json& array) { return new RuleList(array); }, py::arg("array"),
      "From a list of rule data; errors name the position of the rule.");
  bind_queries(list);
  bind_changes(list);
  list.def_static("predefined", &RuleList::predefined,
                  "A new list of the rules that every project may start from.");
}

}  // namespace kavel::host
