#include "core/hierarchy/anchor_syntax.h"

#include <algorithm>

#include "core/foundation/errors.h"
#include "core/foundation/text.h"

namespace kavel::hierarchy {

using foundation::Error;
using foundation::ErrorKind;

std::vector<std::string> find_all_anchors(std::string_view text, bool unpacked) {
  std::vector<std::string> found;
  for (std::size_t begin = text.find('<'); begin != std::string_view::npos;) {
    const std::size_t end = text.find('>', begin + 1);
    // A piece does not reach over a line break, as "." in an expression does not.
    const std::size_t line_break = text.find('\n', begin + 1);
    if (line_break < end && line_break != std::string_view::npos) {
      begin = text.find('<', begin + 1);
      continue;
    }
    if (end == std::string_view::npos) break;
    found.emplace_back(unpacked ? text.substr(begin + 1, end - begin - 1)
                                : text.substr(begin, end - begin + 1));
    begin = text.find('<', end + 1);
  }
  return found;
}

bool has_definition(std::string_view text) noexcept { return std::ranges::count(text, ':') == 1; }

std::vector<std::string> find_definitions(std::string_view text) {
  std::vector<std::string> found = find_all_anchors(text, false);
  std::erase_if(found, [](const std::string& piece) { return !has_definition(piece); });
  return found;
}

AnchorParts unpack_anchor(std::string_view definition) {
  std::string inner;
  std::ranges::copy_if(definition, std::back_inserter(inner),
                       [](char character) { return character != '<' && character != '>'; });
  if (!has_definition(inner)) {
    throw Error(ErrorKind::value,
                "\"" + std::string(definition) + "\" is no anchor definition: one \":\" is needed");
  }
  const std::size_t colon = inner.find(':');
  return {"<" + inner.substr(0, colon) + ">", inner.substr(colon + 1)};
}

AnchorSurroundings split_at_anchor(std::string_view anchor, std::string_view source) {
  const std::size_t position = source.find(anchor);
  if (position == std::string_view::npos) {
    throw Error(ErrorKind::value, "\"" + std::string(source) + "\" does not hold the anchor \"" +
                                      std::string(anchor) + "\"");
  }
  const std::string_view after = source.substr(position + anchor.size());
  if (has_definition(anchor) && foundation::contains(after, anchor)) {
    throw Error(ErrorKind::value, "the anchor \"" + std::string(anchor) +
                                      "\" is defined more than once in \"" + std::string(source) +
                                      "\"");
  }
  return {source.substr(0, position), after};
}

std::string merge_begins(std::string_view anchor, std::string_view part, std::string_view source) {
  const auto [before, after] = split_at_anchor(anchor, source);
  if (!after.empty() && part.ends_with('$')) part.remove_suffix(1);
  return std::string(part);
}

std::string merge_ends(std::string_view anchor, std::string_view part, std::string_view source) {
  const auto [before, after] = split_at_anchor(anchor, source);
  if (!before.empty() && part.starts_with('^')) part.remove_prefix(1);
  return std::string(part);
}

bool same_scope(std::string_view scope, std::string_view path) {
  if (path.size() < scope.size()) return false;
  const auto unified = [](char character) { return is_separator(character) ? '/' : character; };
  if (path.size() > scope.size() && !is_separator(path[scope.size()])) return false;
  const std::string_view ancestor = path.substr(0, scope.size());
  // Most are written with the same separators, and comparing as they stand is much faster.
  return ancestor == scope || std::ranges::equal(ancestor, scope, {}, unified, unified);
}

CaptureRank capture_rank(std::string_view scope, std::string_view text, std::string_view path) {
  return {.shared = foundation::count_shared_code_points(scope, path),
          .components = static_cast<std::size_t>(std::ranges::count_if(scope, is_separator)) + 1,
          .text = text};
}

}  // namespace kavel::hierarchy
