// Anchors inside rule expressions: how they are written, found and merged.
//
// A definition is "<name:sub-expression>" with exactly one colon, its usage form is "<name>". The
// whole definition text is the key under which captures are kept.
#pragma once

#include <compare>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kavel::hierarchy {

/// A definition taken apart.
struct AnchorParts {
  /// "<name>".
  std::string usage;
  std::string expression;
};

/// All bracketed pieces of `text` in order; without the brackets when `unpacked`.
[[nodiscard]] std::vector<std::string> find_all_anchors(std::string_view text, bool unpacked);
/// Whether `text` split on ":" has exactly two parts.
[[nodiscard]] bool has_definition(std::string_view text) noexcept;
/// The bracketed pieces of `text` that are definitions, in order.
[[nodiscard]] std::vector<std::string> find_definitions(std::string_view text);
/// Throws a value error unless the unpacked definition has exactly two parts around ":".
[[nodiscard]] AnchorParts unpack_anchor(std::string_view definition);

/// A sub-expression as it stands in place of `anchor` in `source`: without a final "$" when text
/// follows the anchor. Throws a value error when a definition stands in `source` twice.
[[nodiscard]] std::string merge_begins(std::string_view anchor, std::string_view part,
                                       std::string_view source);
/// The same for a leading "^" when text precedes the anchor.
[[nodiscard]] std::string merge_ends(std::string_view anchor, std::string_view part,
                                     std::string_view source);

/// What stands before and after the first `anchor` in `source`. Throws a value error when
/// `anchor` is missing, or is a definition that stands there twice.
struct AnchorSurroundings {
  std::string_view before;
  std::string_view after;
};
[[nodiscard]] AnchorSurroundings split_at_anchor(std::string_view anchor, std::string_view source);

/// They separate the components of a path alike.
inline constexpr std::string_view kSeparators = "/|\\";
[[nodiscard]] constexpr bool is_separator(char character) noexcept {
  return character == kSeparators[0] || character == kSeparators[1] || character == kSeparators[2];
}
/// Whether `scope` is `path` or one of its ancestors.
[[nodiscard]] bool same_scope(std::string_view scope, std::string_view path);

/// The place of a capture among those on the branch of an object, the deciding one first.
struct CaptureRank {
  /// Leading characters that the capture's scope shares with the object's path: the fewest lead to
  /// the capture nearest the root.
  std::size_t shared;
  std::size_t components;
  std::string_view text;
  friend auto operator<=>(const CaptureRank&, const CaptureRank&) = default;
};
[[nodiscard]] CaptureRank capture_rank(std::string_view scope, std::string_view text,
                                       std::string_view path);

}  // namespace kavel::hierarchy
