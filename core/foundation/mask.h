// Masks: fixed choices of unified types or results that a user interface offers, trimmed to what
// the host can produce.
#pragma once

#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace kavel::foundation {

struct MaskItem {
  std::string_view attr;
  std::string_view name;
  /// At most two; empty places do not count.
  std::string_view types[2];
  /// Offered only when the host can produce every one of the types.
  bool mapped;
};

struct MaskSet {
  std::string_view name;
  std::string_view doc;
  std::span<const MaskItem> items;
};

/// The three sets: `Ghost`, `Type`, `Result`, in this order.
[[nodiscard]] std::span<const MaskSet> mask_sets();

/// Positions of the items of `set` that a host offers which knows a type exactly when `exists`
/// says so, in their order.
[[nodiscard]] std::vector<std::size_t> offered(const MaskSet& set,
                                               const std::function<bool(std::string_view)>& exists);

}  // namespace kavel::foundation
