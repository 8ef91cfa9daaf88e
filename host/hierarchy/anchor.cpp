#include "core/hierarchy/anchor.h"

#include "core/foundation/text.h"
#include "host/classes.h"
#include "host/hierarchy/bindings.h"

namespace kavel::host {
namespace {

using hierarchy::Anchor;

/// Leading positions at which two sequences agree; texts are compared by characters.
std::size_t count_shared(const py::object& source, const py::object& target) {
  if (is_text(source) && is_text(target)) {
    return foundation::count_shared_code_points(from_text(source), from_text(target));
  }
  const auto left = py::list(source);
  const auto right = py::list(target);
  std::size_t count = 0;
  while (count < left.size() && count < right.size() && left[count].equal(right[count])) ++count;
  return count;
}

/// Captures are pairs that begin with their scope path; a bare text stands for itself.
py::object scope_of(const py::object& element) {
  return is_text(element) ? element : py::object(element[py::int_(0)]);
}

py::list scope_sorted(const py::object& path, const py::object& array) {
  const bool is_set = PyAnySet_Check(array.ptr()) != 0;
  const auto key = py::cpp_function([path, is_set](const py::object& element) -> py::tuple {
    const py::object scope = scope_of(element);
    if (!is_set) return py::make_tuple(count_shared(scope, path));
    // A set has no order of its own: what shares alike is put into one that repeats.
    const std::string text =
        from_text(is_text(element) ? element : py::object(element[py::int_(1)]));
    const auto rank = hierarchy::capture_rank(from_text(scope), text, from_text(path));
    return py::make_tuple(rank.shared, rank.components, text, scope);
  });
  py::list elements(array);
  elements.attr("sort")(py::arg("key") = key);
  return elements;
}

void bind_syntax(py::handle anchor) {
  static_method(anchor, "findall", &hierarchy::find_all_anchors, py::arg("text"),
                py::arg("unpacked") = false,
                "The bracketed pieces of `text` in order, as a list; `unpacked` without brackets.");
  static_method(
      anchor, "has_definition",
      [](const std::string& text) { return hierarchy::has_definition(text); }, py::arg("text"),
      "Whether `text` split on \":\" has two parts.");
  static_method(
      anchor, "find", [](const std::string& text) { return hierarchy::find_definitions(text); },
      py::arg("text"), "The bracketed pieces that are definitions, in order, as a list.");
  static_method(
      anchor, "unpack_anchor",
      [](const std::string& expression) {
        const auto parts = hierarchy::unpack_anchor(expression);
        return py::make_tuple(to_text(parts.usage), to_text(parts.expression));
      },
      py::arg("expression"),
      "The pair (usage form, sub-expression) of a definition; ValueError for anything else.");
  static_method(anchor, "count_shared_symbols", &count_shared, py::arg("source"), py::arg("target"),
                "Number of leading positions at which both agree.");
  static_method(anchor, "get_scope_sorted", &scope_sorted, py::arg("path"), py::arg("array"),
                "The captures, fewest leading characters shared with `path` first.");
  static_method(
      anchor, "same_scope",
      [](const std::string& scope, const std::string& path) {
        return hierarchy::same_scope(scope, path);
      },
      py::arg("scope"), py::arg("path"), "Whether `scope` is `path` or one of its ancestors.");
}

void bind_merging(py::handle anchor) {
  static_method(
      anchor, "merge_begins",
      [](const std::string& piece, const std::string& part, const std::string& source) {
        return hierarchy::merge_begins(piece, part, source);
      },
      py::arg("anchor"), py::arg("expr_part"), py::arg("expr_source"),
      "`expr_part` without a final \"$\" when text follows the anchor in `expr_source`.");
  static_method(
      anchor, "merge_ends",
      [](const std::string& piece, const std::string& part, const std::string& source) {
        return hierarchy::merge_ends(piece, part, source);
      },
      py::arg("anchor"), py::arg("expr_part"), py::arg("expr_source"),
      "`expr_part` without a leading \"^\" when text precedes the anchor in `expr_source`.");
}

}  // namespace

void bind_anchor(py::handle hierarchy) {
  auto anchor = define<Anchor>(
      hierarchy, "Anchor", "Anchors of rule expressions: parsed, replaced, matched and captured.");
  bind_anchor_state(anchor);
  bind_syntax(anchor);
  bind_merging(anchor);
  define_init(anchor, [] { return new Anchor(); });
  anchor.def_property_readonly("state", &Anchor::state, "What was captured so far.");
  anchor.def_property_readonly("_state", &Anchor::state, "What was captured so far.");
  anchor.def("replace_anchors", &Anchor::replace_anchors, py::arg("expression"), py::arg("path"),
             "`expression` with the usages captured on the branch of `path` replaced.");
  anchor.def("apply_anchors", &Anchor::apply_anchors, py::arg("expression"),
             "`expression` with every remaining anchor replaced by its sub-expression.");
  anchor.def("match", &Anchor::match, py::arg("expression"), py::arg("name"), py::arg("path"),
             "Whether `name` matches; records the captures when it does. Expression errors "
             "(re.error) and repeated definitions (ValueError) propagate.");
  anchor.def("extract_anchors", &Anchor::extract_anchors, py::arg("expression"), py::arg("name"),
             py::arg("path"), "Records what the definitions in `expression` capture of `name`.");
  anchor.def("has_anchor", &Anchor::has_anchor, py::arg("expression"),
             "Whether a known definition stands in `expression`.");
  anchor.def("has_sub_anchor", &Anchor::has_sub_anchor, py::arg("expression"),
             "Whether a usage of a known definition stands in `expression`.");
}

}  // namespace kavel::host
