// How a component tells the host about an event: the host's notification lists or whatever stands
// in for them.
#pragma once

#include "core/runtime/object.h"

namespace kavel::facade {

class Notifier {
 public:
  virtual ~Notifier() = default;
  virtual void each_reference([[maybe_unused]] runtime::ReferenceVisitor& visitor) const {}
  virtual void drop_references() noexcept {}
  /// The host's object with the lists.
  [[nodiscard]] virtual runtime::Value object() const = 0;
  /// Calls the list of that name without arguments.
  virtual void fire(const char* name) = 0;
};

}  // namespace kavel::facade
