#include "core/scene/snapshot.h"

#include <algorithm>
#include <functional>

#include "core/foundation/errors.h"

namespace kavel::scene {
namespace {

constexpr std::size_t kSmallestIndex = 16;

std::uint32_t hash_of(std::string_view path) noexcept {
  return static_cast<std::uint32_t>(std::hash<std::string_view>{}(path));
}

}  // namespace

const Snapshot::Object Snapshot::kUnknown{};

std::size_t Snapshot::slot_of(std::string_view path, std::uint32_t hash) const noexcept {
  const std::size_t mask = index_.size() - 1;
  std::size_t slot = hash & mask;
  while (index_[slot] != kNoId &&
         (objects_[index_[slot]].hash != hash || this->path(index_[slot]) != path)) {
    slot = (slot + 1) & mask;
  }
  return slot;
}

Id Snapshot::find(std::string_view path) const noexcept {
  return index_.empty() ? kNoId : index_[slot_of(path, hash_of(path))];
}

Id Snapshot::intern(std::string_view path) {
  // At three quarters the runs of taken slots are still short.
  if ((objects_.size() + 1) * 4 > index_.size() * 3) grow_index();
  const std::uint32_t hash = hash_of(path);
  const std::size_t slot = slot_of(path, hash);
  if (index_[slot] != kNoId) return index_[slot];
  const auto id = static_cast<Id>(objects_.size());
  const std::uint64_t begin = arena_.size();
  arena_.append(path);
  objects_.push_back({.path_begin = begin,
                      .path_size = static_cast<std::uint32_t>(arena_.size() - begin),
                      .hash = hash});
  index_[slot] = id;
  return id;
}

void Snapshot::grow_index() {
  index_.assign(std::max(kSmallestIndex, index_.size() * 2), kNoId);
  const std::size_t mask = index_.size() - 1;
  for (Id id = 0; id < objects_.size(); ++id) {
    std::size_t slot = objects_[id].hash & mask;
    while (index_[slot] != kNoId) slot = (slot + 1) & mask;
    index_[slot] = id;
  }
}

std::uint16_t Snapshot::type_number(std::string_view type) {
  // Hosts know a handful of types, so a walk is the fastest way to find one.
  const auto found = std::ranges::find(types_, type);
  if (found == types_.end()) {
    if (types_.size() > std::numeric_limits<std::uint16_t>::max()) {
      throw foundation::Error(foundation::ErrorKind::value,
                              "the scene has too many distinct object types");
    }
    types_.emplace_back(type);
    return static_cast<std::uint16_t>(types_.size() - 1);
  }
  return static_cast<std::uint16_t>(found - types_.begin());
}

void Snapshot::store_missing(Id id) { objects_.at(id).state = State::missing; }

void Snapshot::store(Id id, std::string_view name, std::string_view type, Id parent,
                     std::span<const Id> children) {
  const std::uint16_t key = type_number(type);
  Object& object = objects_.at(id);
  object.state = State::exists;
  object.type = key;
  object.parent = parent;
  if (path(id).ends_with(name)) {
    // Most names are the last component of the path: they need no room of their own.
    object.name_begin = object.path_begin + object.path_size - name.size();
  } else if (!object.stored || this->name(id) != name) {
    object.name_begin = arena_.size();
    arena_.append(name);
  }
  object.name_size = static_cast<std::uint32_t>(name.size());
  if (children.size() > object.children_count) {
    object.children_begin = children_.size();
    children_.insert(children_.end(), children.begin(), children.end());
  } else {
    std::ranges::copy(children,
                      children_.begin() + static_cast<std::ptrdiff_t>(object.children_begin));
  }
  object.children_count = static_cast<std::uint32_t>(children.size());
  object.stored = true;
}

void Snapshot::clear() noexcept {
  ++generation_;
  arena_ = std::string();
  objects_ = std::vector<Object>();
  children_ = std::vector<Id>();
  index_ = std::vector<Id>();
}

void Snapshot::compact() {
  arena_.shrink_to_fit();
  objects_.shrink_to_fit();
  children_.shrink_to_fit();
}

std::size_t Snapshot::bytes() const noexcept {
  return arena_.capacity() + objects_.capacity() * sizeof(Object) +
         (children_.capacity() + index_.capacity()) * sizeof(Id);
}

}  // namespace kavel::scene
