// Reading an expression with the interpreter's own parser.
#include "host/runtime/regex_tree.h"

namespace kavel::host {
namespace {

using runtime::AsciiSet;
using runtime::RegexNode;
using Kind = RegexNode::Kind;

/// Deeper groups are left to the interpreter.
constexpr int kMaxDepth = 100;
/// The only flag of an expression without flags of its own.
constexpr int kUnicodeFlag = 32;

std::optional<RegexNode> read_sequence(py::handle items, int depth);

bool holds(std::string_view characters, std::size_t character) {
  return characters.find(static_cast<char>(character)) != std::string_view::npos;
}

AsciiSet category(const std::string& name) {
  constexpr std::string_view kSpaces = " \t\n\r\f\v\x1c\x1d\x1e\x1f";
  AsciiSet set;
  for (std::size_t character = 0; character < set.size(); ++character) {
    const bool digit = character >= '0' && character <= '9';
    const std::size_t lower = character | 0x20U;
    const bool word = digit || character == '_' || (lower >= 'a' && lower <= 'z');
    if (name.ends_with("_DIGIT")) set[character] = digit;
    if (name.ends_with("_WORD")) set[character] = word;
    if (name.ends_with("_SPACE")) set[character] = holds(kSpaces, character);
  }
  return name.starts_with("CATEGORY_NOT_") ? ~set : set;
}

bool is_category(const std::string& name) {
  for (const char* known : {"DIGIT", "WORD", "SPACE"}) {
    if (name == std::string("CATEGORY_") + known) return true;
    if (name == std::string("CATEGORY_NOT_") + known) return true;
  }
  return false;
}

std::string name_of(py::handle constant) { return from_text(constant.attr("name")); }

AsciiSet range(std::size_t first, std::size_t last) {
  AsciiSet set;
  for (std::size_t character = first; character <= last && character < set.size(); ++character) {
    set.set(character);
  }
  return set;
}

std::optional<RegexNode> character(const AsciiSet& set) {
  return RegexNode{.kind = Kind::character, .set = set};
}

std::optional<RegexNode> read_set(py::handle elements) {
  AsciiSet set;
  bool negated = false;
  for (const py::handle element : py::iter(elements)) {
    const auto [op, value] = element.cast<std::pair<py::object, py::object>>();
    const std::string name = name_of(op);
    if (name == "NEGATE") {
      negated = true;
    } else if (name == "LITERAL") {
      const auto only = value.cast<std::size_t>();
      set |= range(only, only);
    } else if (name == "RANGE") {
      const auto [first, last] = value.cast<std::pair<std::size_t, std::size_t>>();
      set |= range(first, last);
    } else if (name == "CATEGORY" && is_category(name_of(value))) {
      set |= category(name_of(value));
    } else {
      return std::nullopt;
    }
  }
  return character(negated ? ~set : set);
}

std::optional<RegexNode> read_place(const std::string& name) {
  if (name == "AT_BEGINNING" || name == "AT_BEGINNING_STRING")
    return RegexNode{.kind = Kind::start};
  if (name == "AT_END" || name == "AT_END_STRING") return RegexNode{.kind = Kind::end};
  return std::nullopt;
}

std::optional<RegexNode> read_branch(py::handle value, int depth) {
  RegexNode branch{.kind = Kind::branch};
  for (const py::handle alternative : py::iter(value.attr("__getitem__")(1))) {
    auto child = read_sequence(alternative, depth);
    if (!child) return std::nullopt;
    branch.children.push_back(*std::move(child));
  }
  return branch;
}

std::optional<RegexNode> read_repeat(const py::tuple& value, int depth) {
  RegexNode repeat{.kind = Kind::repeat, .minimum = value[0].cast<std::uint32_t>()};
  // "No bound" is the greatest number that the interpreter's own code holds.
  repeat.maximum = static_cast<std::uint32_t>(
      std::min<std::uint64_t>(value[1].cast<std::uint64_t>(), RegexNode::kUnbounded));
  auto body = read_sequence(value[2], depth);
  if (!body) return std::nullopt;
  repeat.children.push_back(*std::move(body));
  return repeat;
}

std::optional<RegexNode> read_group(const py::tuple& value, int depth) {
  if (value.size() != 4 || value[1].cast<int>() != 0 || value[2].cast<int>() != 0) {
    return std::nullopt;
  }
  auto group = read_sequence(value[3], depth);
  if (group && !value[0].is_none()) group->group = value[0].cast<std::uint32_t>();
  return group;
}

std::optional<RegexNode> read_node(py::handle item, int depth) {
  const auto [op, value] = item.cast<std::pair<py::object, py::object>>();
  const std::string name = name_of(op);
  if (name == "LITERAL" || name == "NOT_LITERAL") {
    const auto only = value.cast<std::size_t>();
    return character(name == "LITERAL" ? range(only, only) : ~range(only, only));
  }
  if (name == "ANY") return character(~range('\n', '\n'));
  if (name == "IN") return read_set(value);
  if (name == "AT") return read_place(name_of(value));
  if (name == "BRANCH") return read_branch(value, depth);
  if (name == "MAX_REPEAT" || name == "MIN_REPEAT") return read_repeat(value, depth);
  if (name == "SUBPATTERN") return read_group(value, depth);
  if (name == "GROUPREF") {
    return RegexNode{.kind = Kind::reference, .group = value.cast<std::uint32_t>()};
  }
  return std::nullopt;
}

std::optional<RegexNode> read_sequence(py::handle items, int depth) {
  if (depth == 0) return std::nullopt;
  RegexNode sequence{.kind = Kind::sequence};
  for (const py::handle item : py::iter(items)) {
    auto child = read_node(item, depth - 1);
    if (!child) return std::nullopt;
    sequence.children.push_back(*std::move(child));
  }
  return sequence;
}

py::object parser() {
  for (const char* name : {"re._parser", "sre_parse"}) {
    try {
      return py::module_::import(name);
    } catch (const py::error_already_set& error) {
      if (!error.matches(PyExc_ImportError)) throw;
    }
  }
  return py::none();
}

}  // namespace

std::optional<RegexNode> read_regex(const std::string& text) {
  const py::object module = parser();
  if (module.is_none()) return std::nullopt;
  try {
    const py::object tree = module.attr("parse")(to_text(text));
    if (tree.attr("state").attr("flags").cast<int>() != kUnicodeFlag) return std::nullopt;
    return read_sequence(tree, kMaxDepth);
  } catch (const py::error_already_set& error) {
    // Its inner form is nobody's promise: another one is read by the interpreter alone.
    if (!error.matches(PyExc_Exception)) throw;
  } catch (const py::cast_error&) {
  }
  return std::nullopt;
}

}  // namespace kavel::host
