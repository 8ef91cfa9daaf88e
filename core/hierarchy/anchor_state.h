// What the anchors of a pattern captured so far.
//
// Captures are a journal: they are appended as objects are accepted, a saved state is a position
// in it and a rolled-back guess a truncation, so nothing is copied per object. An index from the
// scope path of a capture (its separators unified) finds the captures of one object; those of one
// path hang together in a chain, newest first. The texts lie in one arena.
//
// Which capture decides for an object depends on the objects above it. The way from the root to the
// parent that was asked for last is kept with the decision at each step, so that a walk through a
// scene looks every parent up once, and siblings only themselves.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
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

/// A capture; its texts live until the next change of the state.
struct Capture {
  std::uint32_t key;
  std::string_view scope;
  std::string_view text;
};

class AnchorState final : public runtime::Object {
 public:
  /// Keys in order of first mention; each starts with no captures.
  using Keys = std::vector<AnchorKey>;

  AnchorState();

  /// Replaces everything: these keys, no captures.
  void set_keys(std::shared_ptr<const Keys> keys);
  [[nodiscard]] const std::shared_ptr<const Keys>& keys() const noexcept { return keys_; }

  /// Adds a capture unless the same one is there.
  void add(std::uint32_t key, std::string_view scope, std::string_view text);
  [[nodiscard]] std::size_t size() const noexcept { return records_.size(); }
  /// The capture at a position below `size()`.
  [[nodiscard]] Capture capture(std::size_t position) const noexcept;
  [[nodiscard]] bool has_captures(std::uint32_t key) const noexcept {
    return key < counts_.size() && counts_[key] > 0;
  }

  /// A position to which `truncate` goes back.
  [[nodiscard]] std::size_t position() const noexcept { return records_.size(); }
  void truncate(std::size_t position);

  /// Where an object stands; good for questions until the next change of the state.
  struct Branch {
    std::string_view path;
    /// Number of characters and of steps on the way to the parent.
    std::size_t parent_size;
    std::size_t steps;
  };
  [[nodiscard]] Branch branch(std::string_view path) const;
  /// The captured text that decides on a branch: of the captures there the one that shares the
  /// fewest leading characters with the object's path (the one nearest the root), then the one with
  /// the fewest path components, then the least text. Valid until the next change of the state.
  [[nodiscard]] std::optional<std::string_view> decide(std::uint32_t key,
                                                       const Branch& branch) const;
  [[nodiscard]] std::optional<std::string_view> decide(std::uint32_t key,
                                                       std::string_view path) const {
    return decide(key, branch(path));
  }

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
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;
  struct Record {
    /// Hash of the scope.
    std::uint64_t place;
    /// Where in the arena the scope begins; the text follows it.
    std::uint64_t begin;
    std::uint32_t scope_size;
    std::uint32_t text_size;
    std::uint32_t key;
    /// The next capture in the chain, or kNone.
    std::uint32_t next;
  };
  /// An ancestor on the way: the leading `size` characters of `way_`.
  struct Step {
    std::size_t size;
    std::uint64_t place;
  };

  [[nodiscard]] std::size_t slot_of(std::uint64_t place) const noexcept;
  [[nodiscard]] std::uint32_t chain(std::uint64_t place) const noexcept;
  [[nodiscard]] std::uint32_t own_chain(const Branch& branch) const noexcept;
  void grow_index();
  [[nodiscard]] bool leads_to(std::string_view parent) const noexcept;
  [[nodiscard]] std::uint64_t place_of(std::string_view scope) const noexcept;
  void follow(std::string_view parent) const;
  void push_step(std::uint64_t place, std::size_t size, std::string_view parent) const;
  void forget_way(std::size_t size) const noexcept;
  [[nodiscard]] bool precedes(std::uint32_t left, std::uint32_t right, std::string_view path) const;
  [[nodiscard]] std::vector<std::pair<std::string_view, std::string_view>> content(
      std::uint32_t key) const;

  std::shared_ptr<const Keys> keys_;
  std::vector<std::size_t> counts_;
  std::vector<Record> records_;
  std::string arena_;
  /// Open addressing over the places: the newest capture of each. Its size is a power of two.
  /// Captures leave in the reverse of the order in which they came, so a slot is just emptied.
  std::vector<std::uint32_t> index_;
  /// The separator of all scopes so far; zero before the first.
  char separator_ = '\0';
  /// Some scopes are written with other separators.
  bool is_mixed_ = false;

  mutable std::string way_;
  mutable std::vector<Step> steps_;
  /// For each step the deciding capture of each key, or kNone.
  mutable std::vector<std::uint32_t> decisions_;
};

}  // namespace kavel::hierarchy
