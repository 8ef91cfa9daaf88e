// A list that others hold: one object for life, emptied and refilled in place. The interpreter
// sees it as a live list with the whole list protocol.
#pragma once

#include <vector>

#include "core/runtime/object.h"

namespace kavel::runtime {

/// `T` is a Ref, a Value or a text. Iterate over a copy wherever the loop can run foreign code.
template <class T>
class List final : public Object {
 public:
  List() = default;
  explicit List(std::vector<T> initial) : items(std::move(initial)) {}

  void each_reference(ReferenceVisitor& visitor) const override {
    if constexpr (requires { visitor(items); }) visitor(items);
  }
  /// Letting go may run foreign code that looks at the list: it is empty by then.
  void drop_references() noexcept override {
    std::vector<T> dropped;
    std::swap(dropped, items);
  }

  std::vector<T> items;
};

}  // namespace kavel::runtime
