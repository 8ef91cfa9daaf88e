// The store of usage records as the validation uses it.
#pragma once

#include <string_view>

#include "core/runtime/object.h"

namespace kavel::services {

/// Implemented by the store itself, and by an adaptor for a host's stand-in.
class StatisticsPort : public runtime::Object {
 public:
  /// Adds the record of one run of a check: its name, its outcome and the seconds it took. A
  /// failure is logged; only interrupts pass.
  virtual void add_check(std::string_view name, std::string_view status, double seconds) = 0;
};

}  // namespace kavel::services
