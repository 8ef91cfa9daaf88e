// The virtual scene: a snapshot of the hierarchies under some roots, taken through the operator,
// which afterwards answers without the host.
//
// Threads: every query is one look into the table, which only `upload` and `offload` change, so
// other threads may ask at any time and never reach the host. During an upload they see the part
// that is done.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/scene/location.h"
#include "core/scene/operator.h"
#include "core/scene/query.h"

namespace kavel::scene {

class Virtual final : public runtime::Object {
 public:
  explicit Virtual(std::unique_ptr<OperatorPort> port);

  void each_reference(runtime::ReferenceVisitor& visitor) const override {
    operator_->each_reference(visitor);
  }
  void drop_references() noexcept override { operator_->drop_references(); }

  /// Stores the subtrees under `roots`, depth first, parents before children; with `clear` in
  /// place of all that was stored. Below one root a path is asked once, so a host that reports a
  /// cycle ends. Errors of the operator propagate; what was stored by then stays.
  void upload(std::span<const std::string> roots, bool clear = true);
  /// Stores one object alone, without its descendants.
  void upload_alone(const std::string& path);
  void offload() noexcept { table_.clear(); }

  /// Whether the object existed when it was uploaded; nothing when it was not.
  [[nodiscard]] std::optional<bool> object_exists(std::string_view path) const;
  [[nodiscard]] std::string get_type(std::string_view path) const;
  [[nodiscard]] std::optional<std::string> get_parent(std::string_view path) const;
  [[nodiscard]] std::vector<std::string> get_children(std::string_view path) const;
  /// The stored name; of an unknown object the operator's answer.
  [[nodiscard]] std::string get_name(const std::string& path) const;
  /// Those of `roots` that exist, in their order.
  [[nodiscard]] std::vector<runtime::Ref<Location>> get_locations(
      std::span<const std::string> roots) const;

  [[nodiscard]] Snapshot& table() noexcept { return table_; }
  [[nodiscard]] const Snapshot& table() const noexcept { return table_; }
  [[nodiscard]] const OperatorPort& port() const noexcept { return *operator_; }

 private:
  Snapshot table_;
  std::unique_ptr<OperatorPort> operator_;
};

/// The matcher's questions, answered by a virtual scene.
class VirtualQuery final : public QueryPort {
 public:
  explicit VirtualQuery(runtime::Ref<Virtual> scene) : scene_(std::move(scene)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(scene_); }
  [[nodiscard]] Snapshot& table() override { return scene_->table(); }
  void locate(std::span<const Id> roots, std::vector<Id>& existing) override;
  [[nodiscard]] std::optional<std::string> parent(const std::string& path) override {
    return scene_->get_parent(path);
  }
  [[nodiscard]] std::string type(const std::string& path) override {
    return scene_->get_type(path);
  }
  [[nodiscard]] std::string name(const std::string& path) override {
    return scene_->get_name(path);
  }

 private:
  runtime::Ref<Virtual> scene_;
};

}  // namespace kavel::scene
