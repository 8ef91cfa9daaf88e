// A regular expression taken apart, as far as it is made of plain nodes.
#pragma once

#include <bitset>
#include <cstdint>
#include <limits>
#include <vector>

namespace kavel::runtime {

/// Characters below 128; what an expression says of others is left out.
using AsciiSet = std::bitset<128>;

struct RegexNode {
  enum class Kind {
    /// The children one after the other.
    sequence,
    /// One of the children.
    branch,
    /// The only child, `minimum` to `maximum` times, greedily or not.
    repeat,
    /// One character of `set`.
    character,
    /// The start of the text.
    start,
    /// The end of a text that does not end with a line break.
    end,
    /// What the group `group` took.
    reference,
  };
  static constexpr std::uint32_t kUnbounded = std::numeric_limits<std::uint32_t>::max();

  Kind kind = Kind::sequence;
  AsciiSet set{};
  std::uint32_t minimum = 0;
  std::uint32_t maximum = 0;
  /// Of a sequence that is a group of its own, and of a reference; 0 for none.
  std::uint32_t group = 0;
  std::vector<RegexNode> children{};
};

}  // namespace kavel::runtime
