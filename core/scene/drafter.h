// Turns what the matcher has assigned into hierarchies that the host can be handed.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/hierarchy/matcher.h"
#include "core/scene/decoration.h"

namespace kavel::scene {

/// The first text that is not empty, else an empty one.
[[nodiscard]] std::string choose_name(std::span<const std::string> names);

/// Joints of one rule share what they take from it, also across hierarchies.
class Drafter {
 public:
  explicit Drafter(hierarchy::Matcher& matcher)
      : scene_(matcher.search()->scene()), ghost_(matcher.pattern()->get_ghost()) {}

  /// The joints of a valid match. With a ghost item in the pattern its joint is the root, whose
  /// path is that of the object standing for it, empty for the scene root.
  [[nodiscard]] Draft draft(const hierarchy::Match& match, const std::string& ghost_path);

 private:
  using Rule = runtime::Ref<hierarchy::PatternRule>;
  struct Known {
    /// Held, so that no later rule takes its place in memory.
    Rule rule;
    Joint::Kind kind;
  };

  [[nodiscard]] Draft::Item ghost_item(const Draft& below, const std::string& ghost_path);
  [[nodiscard]] Joint::Kind kind(const Rule& rule, std::string_view type);

  QueryPort& scene_;
  runtime::Ref<hierarchy::Scope> ghost_;
  std::unordered_map<const hierarchy::PatternRule*, Known> known_;
};

}  // namespace kavel::scene
