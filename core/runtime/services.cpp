#include "core/runtime/services.h"

namespace kavel::runtime {

Services& services() noexcept {
  static Services installed;
  return installed;
}

}  // namespace kavel::runtime
