// The way up from an object to the root of the scope that it stands in.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/hierarchy/matcher.h"
#include "core/scene/virtual.h"

namespace kavel::scene {

/// Where the way up ends.
enum class WayEnd {
  /// At the nearest object that can stand for the ghost item, the object itself first; else at the
  /// topmost one.
  ghost_root,
  /// At the topmost object.
  topmost,
};

/// Walks through the operator. Ancestors that the virtual scene does not know are stored in it
/// alone: to the matcher an unknown object would look like one without a parent.
class ScopeRoots {
 public:
  ScopeRoots(OperatorPort& port, Virtual& scene, hierarchy::Matcher& matcher);

  /// A way that the host has closed to a ring ends where it meets itself.
  [[nodiscard]] std::string find(const std::string& path, WayEnd end);
  /// The distinct roots of `paths`, in their order.
  [[nodiscard]] std::vector<std::string> find_all(std::span<const std::string> paths, WayEnd end);
  /// Stores the subtrees of those of `roots` that were stored alone.
  void complete(std::span<const std::string> roots);

 private:
  [[nodiscard]] bool is_end(const std::string& path, WayEnd end);

  OperatorPort& operator_;
  Virtual& scene_;
  hierarchy::Matcher& matcher_;
  const runtime::Ref<hierarchy::Scope> ghost_;
  /// The root of each object met so far: ways join soon.
  std::unordered_map<std::string, std::string> known_;
  std::unordered_set<std::string> alone_;
};

}  // namespace kavel::scene
