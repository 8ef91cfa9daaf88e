// Buckets: one stored hierarchy each, with how it is shown and whether it is worked on.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "core/scene/joint.h"

namespace kavel::scene {

class Bucket final : public runtime::Object {
 public:
  Bucket(JointRef root, std::optional<std::string> bucket_name, bool is_checked = true,
         bool is_opened = true)
      : joint(std::move(root)),
        name(std::move(bucket_name)),
        checked(is_checked),
        opened(is_opened) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(joint); }

  friend bool operator==(const Bucket& left, const Bucket& right) noexcept {
    return *left.joint == *right.joint && left.name == right.name &&
           left.checked == right.checked && left.opened == right.opened;
  }

  /// The root of the hierarchy, never null.
  JointRef joint;
  std::optional<std::string> name;
  /// Ticked for validation and export.
  bool checked;
  /// Expanded in the user interface.
  bool opened;
};

using BucketRef = runtime::Ref<Bucket>;
using BucketList = runtime::List<BucketRef>;

}  // namespace kavel::scene
