#include "core/hierarchy/naming.h"

#include "host/bindings.h"
#include "host/classes.h"
#include "host/foundation/text.h"

namespace kavel::host {
namespace {

namespace naming = hierarchy::naming;

std::vector<naming::CharacterRange> ranges(py::handle pairs) {
  std::vector<naming::CharacterRange> result;
  for (const py::handle pair : py::iter(pairs)) {
    const auto bounds = py::reinterpret_steal<py::tuple>(PySequence_Tuple(pair.ptr()));
    if (!bounds) throw py::error_already_set();
    if (bounds.size() != 2) throw py::value_error("a range is a pair (low, high)");
    result.emplace_back(bounds[0].cast<std::uint32_t>(), bounds[1].cast<std::uint32_t>());
  }
  return result;
}

using Filter = std::string (*)(std::string_view);

void bind_filter(const py::object& scope, const char* name, Filter filter, const char* doc) {
  static_method(
      scope, name, [filter](const std::string& text) { return unified(filter(text)); },
      py::arg("text"), doc);
}

}  // namespace

void bind_naming(py::module_& module) {
  const py::object scope =
      namespace_class(module, "_Naming", "Pure filters that make names out of texts.");
  static_method(
      scope, "strip",
      [](const std::string& name, const std::string& chars) {
        return unified(naming::strip(name, chars));
      },
      py::arg("name"), py::arg("chars"), "`name` without the characters of `chars` at its ends.");
  bind_filter(scope, "ghost_filter", naming::ghost_filter,
              "`text` without the ghost type's name, removed in one pass.");
  bind_filter(scope, "space_filter", naming::space_filter, "`text` without blanks at its ends.");
  bind_filter(scope, "latin_filter", naming::latin_filter,
              "Only the printable ASCII characters of `text`.");
  bind_filter(scope, "en_ru_filter", naming::en_ru_filter,
              "Only the printable ASCII characters and Russian letters of `text`.");
  static_method(
      scope, "_char_filter",
      [](const std::string& text, const py::object& chars) {
        return unified(naming::character_filter(text, ranges(chars)));
      },
      py::arg("text"), py::arg("chars"),
      "Only the characters whose code points lie in one of the inclusive pairs (low, high).");
  static_method(
      scope, "force_ascii",
      [](const std::string& name, bool title) { return unified(naming::force_ascii(name, title)); },
      py::arg("name"), py::arg("title") = false,
      "Lower-case ASCII letters, digits and \"_\"; Cyrillic letters are transliterated. With "
      "`title` each word starts in upper case.");
  static_method(
      scope, "is_private", [](const std::string& name) { return naming::is_private(name); },
      py::arg("name"), "Whether `name` is two underscores and more.");
  static_method(
      scope, "is_attribute", [](const std::string& name) { return naming::is_attribute(name); },
      py::arg("name"),
      "Whether `name` consists of ASCII letters, digits and \"_\" and starts with no digit.");
}

}  // namespace kavel::host
