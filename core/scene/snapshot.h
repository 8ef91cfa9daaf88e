// The native table behind the virtual scene: what the operator said of each object, once.
//
// Paths and names lie in one arena; an object is a small number, its Id, handed out in order of
// first mention. A path mentioned as somebody's child or parent has an Id before it is uploaded.
// Ids stay valid until `clear` (an Id from before answers as an unknown or another object, never
// with a fault); views of texts and children until the next change.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kavel::scene {

using Id = std::uint32_t;
inline constexpr Id kNoId = std::numeric_limits<Id>::max();

class Snapshot {
 public:
  /// The Id of a path, or kNoId when it was never mentioned.
  [[nodiscard]] Id find(std::string_view path) const noexcept;
  /// The Id of a path, a new one when it was never mentioned.
  Id intern(std::string_view path);

  /// Records that the object does not exist; older facts about it stay.
  void store_missing(Id id);
  /// Records an existing object. `parent` is kNoId for none.
  void store(Id id, std::string_view name, std::string_view type, Id parent,
             std::span<const Id> children);
  /// Forgets everything but the types met so far, whose keys stay.
  void clear() noexcept;
  /// Gives back what growing has reserved ahead.
  void compact();
  /// Counts the calls of `clear`; equal numbers mean that Ids are still the same.
  [[nodiscard]] std::uint32_t generation() const noexcept { return generation_; }

  /// Number of Ids handed out.
  [[nodiscard]] std::size_t size() const noexcept { return objects_.size(); }
  /// Whether its existence was asked at all.
  [[nodiscard]] bool asked(Id id) const noexcept { return object(id).state != State::mentioned; }
  [[nodiscard]] bool exists(Id id) const noexcept { return object(id).state == State::exists; }
  /// Whether name, type, parent and children are known.
  [[nodiscard]] bool stored(Id id) const noexcept { return object(id).stored; }

  [[nodiscard]] std::string_view path(Id id) const noexcept {
    return text(object(id).path_begin, object(id).path_size);
  }
  [[nodiscard]] std::string_view name(Id id) const noexcept {
    return text(object(id).name_begin, object(id).name_size);
  }
  /// The unified type; empty when it is not known.
  [[nodiscard]] std::string_view type(Id id) const noexcept { return types_[object(id).type]; }
  /// A number that is equal for equal types, below `types().size()`.
  [[nodiscard]] std::uint16_t type_key(Id id) const noexcept { return object(id).type; }
  /// The distinct types met so far, by key.
  [[nodiscard]] std::span<const std::string> types() const noexcept { return types_; }
  [[nodiscard]] Id parent(Id id) const noexcept { return object(id).parent; }
  [[nodiscard]] std::span<const Id> children(Id id) const noexcept {
    return std::span(children_).subspan(object(id).children_begin, object(id).children_count);
  }

  /// Bytes that the table takes, arena included.
  [[nodiscard]] std::size_t bytes() const noexcept;

 private:
  enum class State : std::uint8_t { mentioned, missing, exists };
  struct Object {
    std::uint64_t path_begin = 0;
    std::uint64_t name_begin = 0;
    std::uint32_t path_size = 0;
    std::uint32_t name_size = 0;
    std::uint64_t children_begin = 0;
    std::uint32_t children_count = 0;
    Id parent = kNoId;
    /// Of the path: spares most comparisons of long paths, and reading them when the index grows.
    std::uint32_t hash = 0;
    std::uint16_t type = 0;
    State state = State::mentioned;
    bool stored = false;
  };

  [[nodiscard]] const Object& object(Id id) const noexcept {
    return id < objects_.size() ? objects_[id] : kUnknown;
  }
  [[nodiscard]] std::string_view text(std::uint64_t begin, std::uint32_t size) const noexcept {
    return {arena_.data() + begin, size};
  }
  std::uint16_t type_number(std::string_view type);
  void grow_index();
  [[nodiscard]] std::size_t slot_of(std::string_view path, std::uint32_t hash) const noexcept;

  std::string arena_;
  std::vector<Object> objects_;
  std::vector<Id> children_;
  /// Open addressing over the paths; its size is a power of two.
  std::vector<Id> index_;
  std::vector<std::string> types_{std::string()};
  std::uint32_t generation_ = 0;

  static const Object kUnknown;
};

}  // namespace kavel::scene
