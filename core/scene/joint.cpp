#include "core/scene/joint.h"

#include <algorithm>

#include "core/facade/constants.h"

namespace kavel::scene {
namespace {

using Children = runtime::Ref<Joint::Children>;

/// Lets go of `children` in a loop: the joints that die by it add theirs to the same pile, where
/// plain destruction would recurse as deep as the tree.
void release_in_a_loop(Children children) noexcept {
  static std::vector<Children> pile;
  static bool clearing = false;
  if (!children) return;
  pile.push_back(std::move(children));
  if (clearing) return;
  clearing = true;
  while (!pile.empty()) {
    const Children next = std::move(pile.back());
    pile.pop_back();
  }
  pile.shrink_to_fit();
  clearing = false;
}

}  // namespace

Joint::~Joint() { release_in_a_loop(std::exchange(children_, nullptr)); }

void Joint::drop_references() noexcept { release_in_a_loop(std::exchange(children_, nullptr)); }

bool Joint::is_ghost() const noexcept { return kind_->type == facade::type::kGhost; }

const Children& Joint::children() {
  if (!children_) children_ = runtime::make<Joint::Children>();
  return children_;
}

std::span<const JointRef> Joint::items() const noexcept {
  if (!children_) return {};
  return children_->items;
}

void Joint::add(JointRef child) { children()->items.push_back(std::move(child)); }

void Joint::sort_children() {
  if (!children_) return;
  // Texts are UTF-8, whose bytes are in the order of the code points.
  std::ranges::stable_sort(children_->items, {}, [](const JointRef& joint) {
    return joint->name ? std::string_view(*joint->name) : std::string_view();
  });
}

bool operator==(const Joint& left, const Joint& right) noexcept {
  const bool same_kind = left.kind_ == right.kind_ || (left.kind_->stamp == right.kind_->stamp &&
                                                       left.kind_->type == right.kind_->type);
  return same_kind && left.name == right.name && left.path == right.path;
}

bool JointWay::enter(const Joint& joint) {
  if (!on_way_.insert(&joint).second) return false;
  way_.push_back(&joint);
  return true;
}

void JointWay::leave() {
  on_way_.erase(way_.back());
  way_.pop_back();
}

std::vector<JointRef> flatten(const JointRef& root) {
  std::vector<JointRef> joints;
  // Null where the children of the last joint of the way end.
  std::vector<JointRef> pending{root};
  JointWay way;
  while (!pending.empty()) {
    JointRef next = std::move(pending.back());
    pending.pop_back();
    if (!next) {
      way.leave();
      continue;
    }
    const auto children = next->items();
    if (!children.empty()) {
      if (!way.enter(*next)) continue;
      pending.emplace_back();
      pending.insert(pending.end(), children.rbegin(), children.rend());
    }
    joints.push_back(std::move(next));
  }
  return joints;
}

}  // namespace kavel::scene
