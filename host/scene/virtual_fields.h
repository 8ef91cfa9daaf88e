// The facts of a virtual scene as read-only maps from path to fact.
#pragma once

#include "core/scene/virtual.h"
#include "host/py.h"

namespace kavel::host {

/// One of the five facts.
enum class VirtualFact { exists, name, type, parent, children };

/// A live view of one fact over the table of a virtual scene.
class VirtualField final : public Object {
 public:
  VirtualField(Ref<scene::Virtual> scene, VirtualFact fact)
      : scene_(std::move(scene)), fact_(fact) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(scene_); }

  /// Whether the fact is known of the object.
  [[nodiscard]] bool holds(scene::Id id) const;
  [[nodiscard]] py::object value(scene::Id id) const;
  [[nodiscard]] std::vector<std::string> paths() const;
  [[nodiscard]] scene::Id find(const std::string& path) const { return table().find(path); }

 private:
  [[nodiscard]] const scene::Snapshot& table() const { return scene_->table(); }

  Ref<scene::Virtual> scene_;
  VirtualFact fact_;
};

/// Defines the class of the views in `scope`.
void bind_virtual_field(py::handle scope);

}  // namespace kavel::host
