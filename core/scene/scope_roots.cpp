#include "core/scene/scope_roots.h"

namespace kavel::scene {

ScopeRoots::ScopeRoots(OperatorPort& port, Virtual& scene, hierarchy::Matcher& matcher)
    : operator_(port), scene_(scene), matcher_(matcher), ghost_(matcher.pattern()->get_ghost()) {}

std::string ScopeRoots::find(const std::string& path, WayEnd end) {
  std::vector<std::string> way;
  std::unordered_set<std::string> met;
  std::string root = path;
  for (std::optional<std::string> next = path; next; next = operator_.get_parent(root)) {
    if (const auto known = known_.find(*next); known != known_.end()) {
      root = known->second;
      break;
    }
    if (!met.insert(*next).second) break;
    root = *next;
    way.push_back(root);
    if (is_end(root, end)) break;
  }
  for (const std::string& passed : way) known_[passed] = root;
  return root;
}

bool ScopeRoots::is_end(const std::string& path, WayEnd end) {
  const Snapshot& table = scene_.table();
  if (!table.stored(table.find(path))) {
    scene_.upload_alone(path);
    alone_.insert(path);
  }
  return end == WayEnd::ghost_root && matcher_.is_ghost_root(ghost_, path);
}

std::vector<std::string> ScopeRoots::find_all(std::span<const std::string> paths, WayEnd end) {
  std::vector<std::string> roots;
  std::unordered_set<std::string> distinct;
  for (const std::string& path : paths) {
    std::string root = find(path, end);
    if (distinct.insert(root).second) roots.push_back(std::move(root));
  }
  return roots;
}

void ScopeRoots::complete(std::span<const std::string> roots) {
  for (const std::string& root : roots) {
    if (alone_.contains(root)) scene_.upload(std::span(&root, 1), false);
  }
}

}  // namespace kavel::scene
