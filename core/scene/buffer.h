// The scene buffer: the hierarchies that were found in the open scene and are worked on. It lives
// inside the scene file, where the operator embeds it.
//
// Its operations call the operator directly and so run only where the operator may be called.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/hierarchy/matcher.h"
#include "core/scene/bucket.h"
#include "core/scene/operator.h"
#include "core/scene/virtual.h"

namespace kavel::scene {

class Buffer final : public runtime::Object {
 public:
  Buffer(std::unique_ptr<OperatorPort> port, runtime::Ref<Virtual> scene,
         runtime::Ref<hierarchy::Matcher> matcher);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// The buckets, one live list for life.
  [[nodiscard]] const runtime::Ref<BucketList>& buckets() const noexcept { return data_; }
  /// The buckets that failed the last validation, a live list.
  [[nodiscard]] const runtime::Ref<BucketList>& incompatibles() const noexcept {
    return incompatibles_;
  }
  [[nodiscard]] std::vector<BucketRef> checked() const;
  [[nodiscard]] bool contains(const BucketRef& bucket) const;

  /// Clears every bucket, then takes the new ones.
  void set(const std::vector<BucketRef>& buckets);
  void add(const std::vector<BucketRef>& buckets);
  /// Removes the bucket itself, else the first equal one, from every list, and takes its joints
  /// back from the host, whose failures are logged. Throws a value error when there is none.
  void clear(const BucketRef& bucket);

  /// Sets the buffer from what the scene file holds. The operator's errors propagate.
  void load();
  /// Embeds the buffer in the scene file in place of what is there.
  void update();
  /// Empties the scene file, the virtual scene and the buffer.
  void erase();
  /// Sorts and embeds. When the operator fails, calls `revert` to bring the buffer back to what
  /// it was, embeds that again where it is gone (empties the buffer where it cannot be) and passes
  /// the error: buffer and scene file agree in any case.
  void commit(const std::function<void()>& revert);

  /// Replaces `old`, wherever it stands, in the names of the buckets.
  void rename(const std::string& old, const std::string& replacement);
  /// The same in the paths of all joints.
  void repath(const std::string& old, const std::string& replacement);
  /// Orders the children of every joint by name, stable.
  void sort();

  /// Collects the buckets that no longer fit the pattern: none of their roots exists, the matcher
  /// refuses them or fails (which is logged). Loads their roots into the virtual scene.
  void validate();
  /// Whether a bucket's kind of root fits the pattern's: both without a ghost, or both with one
  /// that stands where the pattern wants it.
  [[nodiscard]] bool ghost_match(const BucketRef& bucket);
  [[nodiscard]] bool ghosts_match();
  /// Whether each object of the tree exists and has as many children as its joint. Items that
  /// matched nothing have objects but no joints, so this may be false right after a scan.
  [[nodiscard]] bool is_match(const JointRef& root);

  [[nodiscard]] OperatorPort& port() noexcept { return *operator_; }
  [[nodiscard]] const runtime::Ref<Virtual>& scene() const noexcept { return scene_; }
  [[nodiscard]] const runtime::Ref<hierarchy::Matcher>& matcher() const noexcept {
    return matcher_;
  }

 private:
  void clear_all();
  [[nodiscard]] bool is_valid(const Bucket& bucket);
  [[nodiscard]] bool is_same(const Joint& joint);

  std::unique_ptr<OperatorPort> operator_;
  runtime::Ref<Virtual> scene_;
  runtime::Ref<hierarchy::Matcher> matcher_;
  const runtime::Ref<BucketList> data_;
  const runtime::Ref<BucketList> incompatibles_;
};

/// The joint's path; of a ghost, which stands for several objects, those of its children.
[[nodiscard]] std::vector<std::optional<std::string>> roots_of(Joint& joint);
/// The same without those that are none.
[[nodiscard]] std::vector<std::string> root_paths(Joint& joint);

}  // namespace kavel::scene
