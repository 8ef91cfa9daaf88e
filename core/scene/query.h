// What the matcher asks about a scene, answered by the virtual scene or by any object of the host
// with the same operations.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/runtime/object.h"
#include "core/scene/snapshot.h"

namespace kavel::scene {

class QueryPort {
 public:
  virtual ~QueryPort() = default;
  virtual void each_reference([[maybe_unused]] runtime::ReferenceVisitor& visitor) const {}

  /// The table in which the objects of `locate` are found; stays the same object.
  [[nodiscard]] virtual Snapshot& table() = 0;
  /// Appends those of `roots` that exist, in their order, to `existing`; they are stored in
  /// `table()`. May run foreign code.
  virtual void locate(std::span<const Id> roots, std::vector<Id>& existing) = 0;
  /// The parent's path; nothing for none and for an empty text.
  [[nodiscard]] virtual std::optional<std::string> parent(const std::string& path) = 0;
  /// The unified type, empty for an unknown object.
  [[nodiscard]] virtual std::string type(const std::string& path) = 0;
  /// The object's short name.
  [[nodiscard]] virtual std::string name(const std::string& path) = 0;
};

}  // namespace kavel::scene
