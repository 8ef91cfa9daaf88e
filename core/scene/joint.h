// Joints: the stored form of scene objects that a scan has found, as a tree.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "core/runtime/list.h"

namespace kavel::scene {

/// What a joint takes from the pattern item that found it; joints of one item share it.
struct JointKind {
  std::optional<std::string> stamp;
  std::optional<std::string> type;
  std::optional<std::string> icon;
  std::optional<std::string> color;
  friend bool operator==(const JointKind&, const JointKind&) = default;
};

/// One scene object of a stored hierarchy. Any text may be none, as decoding leaves it.
class Joint final : public runtime::Object {
 public:
  using Children = runtime::List<runtime::Ref<Joint>>;
  using Kind = std::shared_ptr<const JointKind>;

  Joint(Kind joint_kind, std::optional<std::string> joint_name,
        std::optional<std::string> joint_path)
      : name(std::move(joint_name)), path(std::move(joint_path)), kind_(std::move(joint_kind)) {}
  /// Takes a deep tree apart without recursion.
  ~Joint() override;

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(children_); }
  void drop_references() noexcept override;

  [[nodiscard]] const JointKind& kind() const noexcept { return *kind_; }
  /// Replaces the kind of this joint alone.
  void set_kind(JointKind kind) { kind_ = std::make_shared<const JointKind>(std::move(kind)); }
  [[nodiscard]] const Kind& shared_kind() const noexcept { return kind_; }
  /// Whether it stands for a pattern item that has no object in the scene.
  [[nodiscard]] bool is_ghost() const noexcept;

  /// The children, one live list for life, made when it is first asked for.
  [[nodiscard]] const runtime::Ref<Children>& children();
  [[nodiscard]] std::span<const runtime::Ref<Joint>> items() const noexcept;
  void add(runtime::Ref<Joint> child);
  /// By name in the order of code points, stable; none counts as empty.
  void sort_children();

  /// Equality of stamp, name, path and type.
  friend bool operator==(const Joint& left, const Joint& right) noexcept;

  std::optional<std::string> name;
  std::optional<std::string> path;

 private:
  Kind kind_;
  runtime::Ref<Children> children_;
};

using JointRef = runtime::Ref<Joint>;

/// The way down a tree that a host may have closed to a ring.
class JointWay {
 public:
  /// False for a joint that is on the way already.
  [[nodiscard]] bool enter(const Joint& joint);
  void leave();
  [[nodiscard]] bool contains(const Joint& joint) const { return on_way_.contains(&joint); }

 private:
  std::vector<const Joint*> way_;
  std::unordered_set<const Joint*> on_way_;
};

/// Every joint of a tree in pre-order. A joint that is met again below itself is left out.
[[nodiscard]] std::vector<JointRef> flatten(const JointRef& root);

}  // namespace kavel::scene
