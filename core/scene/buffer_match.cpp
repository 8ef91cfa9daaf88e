// The buffer's questions to the live scene: which of what is stored still fits.
#include <algorithm>

#include "core/foundation/logger.h"
#include "core/scene/buffer.h"
#include "core/scene/scope_roots.h"

namespace kavel::scene {

std::vector<std::optional<std::string>> roots_of(Joint& joint) {
  if (!joint.is_ghost()) return {joint.path};
  std::vector<std::optional<std::string>> roots;
  for (const JointRef& child : joint.items()) roots.push_back(child->path);
  return roots;
}

std::vector<std::string> root_paths(Joint& joint) {
  std::vector<std::string> paths;
  for (std::optional<std::string>& root : roots_of(joint)) {
    if (root) paths.push_back(std::move(*root));
  }
  return paths;
}

void Buffer::validate() {
  incompatibles_->drop_references();
  const std::vector<BucketRef> buckets = data_->items;
  std::vector<BucketRef> failed;
  for (const BucketRef& bucket : buckets) {
    if (!is_valid(*bucket)) failed.push_back(runtime::shared(bucket));
  }
  std::swap(incompatibles_->items, failed);
}

bool Buffer::is_valid(const Bucket& bucket) {
  const std::vector<std::string> roots = root_paths(*bucket.joint);
  scene_->upload(roots);
  const bool any_exists = std::ranges::any_of(roots, [this](const std::string& path) {
    return scene_->object_exists(path).value_or(false);
  });
  bool valid = false;
  // A pattern of optional items alone would accept a hierarchy that is gone.
  if (any_exists) foundation::guarded([&] { valid = matcher_->is_valid(roots); });
  return valid;
}

bool Buffer::ghost_match(const BucketRef& bucket) {
  const bool has_ghost = static_cast<bool>(matcher_->pattern()->get_ghost());
  if (!bucket->joint->is_ghost() || !has_ghost) return bucket->joint->is_ghost() == has_ghost;
  std::vector<std::string> existing;
  for (const std::string& path : root_paths(*bucket->joint)) {
    if (operator_->object_exists(path)) existing.push_back(path);
  }
  scene_->upload(existing);
  ScopeRoots ways(*operator_, *scene_, *matcher_);
  return matcher_->ghost_scope_match(ways.find_all(existing, WayEnd::ghost_root));
}

bool Buffer::ghosts_match() {
  const std::vector<BucketRef> buckets = data_->items;
  return std::ranges::all_of(buckets,
                             [this](const BucketRef& bucket) { return ghost_match(bucket); });
}

bool Buffer::is_match(const JointRef& root) {
  const std::vector<JointRef> joints = flatten(root);
  return std::ranges::all_of(joints, [this](const JointRef& joint) { return is_same(*joint); });
}

bool Buffer::is_same(const Joint& joint) {
  if (joint.is_ghost()) return true;
  if (!joint.path || !operator_->object_exists(*joint.path)) return false;
  return operator_->get_children(*joint.path).size() == joint.items().size();
}

}  // namespace kavel::scene
