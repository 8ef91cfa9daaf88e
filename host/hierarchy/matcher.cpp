#include "core/hierarchy/matcher.h"

#include "host/adaptors/query.h"
#include "host/bindings.h"
#include "host/hierarchy/bindings.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using hierarchy::Matcher;
using hierarchy::Scope;

py::tuple root_scopes(Matcher& self, const std::vector<std::string>& roots) {
  const auto [scopes, parents] = self.root_scopes(roots);
  py::list lists;
  for (const std::vector<std::string>& scope : scopes) lists.append(py::cast(scope));
  py::dict map;
  for (const auto& [root, parent] : parents) map[to_text(root)] = py::cast(parent);
  return py::make_tuple(lists, map);
}

void bind_questions(py::class_<Matcher>& matcher) {
  matcher.def("is_valid", &Matcher::is_valid, py::arg("roots"),
              "Whether the scene under the paths follows the pattern. Errors of the scene and of "
              "expressions propagate.");
  matcher.def("mask", &Matcher::mask, py::arg("roots"),
              "Those of the paths that the top level covers, item by item.");
  matcher.def("find_anchors", &Matcher::find_anchors,
              "The anchor definitions of the pattern become the search's keys, without captures.");
  matcher.def(
      "match",
      [](Matcher& self, const std::vector<std::string>& roots, const py::object& pattern) {
        return self.match(roots, detail::elements<Ref<Scope>>(pattern));
      },
      py::arg("roots"), py::arg("pattern"),
      "Matches one level of items and all below it, on the captures of the last question.");
  matcher.def(
      "is_ghost_root",
      [](Matcher& self, const OrNone<Scope>& ghost, const std::string& path) {
        return self.is_ghost_root(ghost.reference, path);
      },
      py::arg("ghost"), py::arg("path"),
      "Whether the object can stand for the ghost item; false without one.");
  matcher.def("ghost_scope_match", &Matcher::ghost_scope_match, py::arg("roots"),
              "Whether any of the paths can stand for the pattern's ghost item.");
  matcher.def("root_scopes", &root_scopes, py::arg("roots"),
              "The pair (scopes, parents): lists of effective roots below the ghost item, and "
              "root -> path of the object that stands for the ghost, or none.");
}

}  // namespace

void bind_matcher(py::module_& module) {
  auto matcher = define<Matcher>(module, "_Hierarchy",
                                 "Matches scene hierarchies against the active project's pattern.");
  bind_anchor(matcher);
  bind_pattern(matcher);
  bind_search(matcher);
  define_init(
      matcher,
      [](const py::object& query, const py::object& classes) {
        return new Matcher(query_port(query), to_value(classes));
      },
      py::arg("query_operator"), py::arg("check_classes"));
  matcher.def_property_readonly("pattern", &Matcher::pattern, "The active pattern.");
  matcher.def_property_readonly("search", &Matcher::search, "The layer search.");
  matcher.def_property_readonly("_pattern", &Matcher::pattern, "The active pattern.");
  matcher.def_property_readonly("_search", &Matcher::search, "The layer search.");
  bind_questions(matcher);
}

}  // namespace kavel::host
