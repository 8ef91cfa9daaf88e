// What the anchors of a pattern captured so far.
//
// Captures are a journal: they are appended as objects are accepted, a saved state is a position
// in it and a rolled-back guess a truncation, so nothing is copied per object. An index from the
// scope path of a capture (its separators unified) finds the captures on a branch by walking the
// path once; captures of one path and anchor hang together in a chain, newest first.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/hierarchy/anchor_syntax.h"
#include "core/runtime/object.h"

namespace kavel::hierarchy {

/// One anchor definition of a pattern.
struct AnchorKey {
  explicit AnchorKey(std::string text)
      : definition(std::move(text)), parts(unpack_anchor(definition)) {}
  std::string definition;
  AnchorParts parts;
};

struct Capture {
  std::uint32_t key;
  std::string scope;
  std::string text;
  /// Position of the next capture in the chain, or kNoCapture.
  std::uint32_t next;
};
inline constexpr std::uint32_t kNoCapture = 0xFFFFFFFF;

class AnchorState final : public runtime::Object {
 public:
  /// Keys in order of first mention; each starts with no captures.
  using Keys = std::vector<AnchorKey>;

  AnchorState();

  /// Replaces everything: these keys, no captures.
  void set_keys(std::shared_ptr<const Keys> keys);
  [[nodiscard]] const std::shared_ptr<const Keys>& keys() const noexcept { return keys_; }

  /// Adds a capture unless the same one is there.
  void add(std::uint32_t key, std::string_view scope, std::string text);
  [[nodiscard]] const std::vector<Capture>& captures() const noexcept { return captures_; }
  [[nodiscard]] bool has_captures(std::uint32_t key) const noexcept { return counts_[key] > 0; }

  /// A position to which `truncate` goes back.
  [[nodiscard]] std::size_t position() const noexcept { return captures_.size(); }
  void truncate(std::size_t position);

  /// The captured text that decides for an object at `path`: of the captures on its branch the one
  /// that shares the fewest leading characters with it (the one nearest the root), then the one
  /// with the fewest path components, then the least text. Null when there is none.
  [[nodiscard]] const std::string* decide(std::uint32_t key, std::string_view path) const;

  /// A deep copy.
  [[nodiscard]] runtime::Ref<AnchorState> clone() const;
  /// Takes over the keys and captures of another state.
  void apply(const AnchorState& other);
  /// The content of two states changes place.
  void swap(AnchorState& other) noexcept;
  /// The keys of `left` with the captures of both; captures of foreign keys are left out.
  [[nodiscard]] static runtime::Ref<AnchorState> join(const AnchorState& left,
                                                      const AnchorState& right);

  /// Equal for equal content; 0 when there are no captures.
  [[nodiscard]] std::size_t hash() const;
  friend bool operator==(const AnchorState& left, const AnchorState& right);

 private:
  [[nodiscard]] std::uint32_t chain(std::uint64_t place) const noexcept;
  [[nodiscard]] std::vector<std::pair<std::string_view, std::string_view>> content(
      std::uint32_t key) const;

  std::shared_ptr<const Keys> keys_;
  std::vector<std::size_t> counts_;
  std::vector<Capture> captures_;
  std::unordered_map<std::uint64_t, std::uint32_t> heads_;
};

}  // namespace kavel::hierarchy
