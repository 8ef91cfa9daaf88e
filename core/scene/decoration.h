// Handing joints to the host, which may show or remember each, and taking them back.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/scene/joint.h"
#include "core/scene/operator.h"

namespace kavel::scene {

/// A hierarchy before the host has seen any of it: its joints in pre-order, the root first.
struct Draft {
  struct Item {
    Joint::Kind kind;
    std::optional<std::string> name;
    std::optional<std::string> path;
    /// Position of the parent, -1 for the root.
    std::int32_t parent;
  };
  std::vector<Item> items;
};

/// Makes the joints and hands each to the host before it gets children. When the host fails, those
/// handed over are taken back and the error passes.
[[nodiscard]] JointRef decorate(OperatorPort& port, const Draft& draft);

/// Takes joints back. Failures of the host are logged, the first of them in full.
void undecorate(OperatorPort& port, std::span<const JointRef> joints);

}  // namespace kavel::scene
