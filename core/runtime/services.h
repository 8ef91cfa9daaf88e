// The ports through which the core reaches the interpreter, gathered in one place.
//
// The host installs its own set once when the module is loaded; tests swap single ports for fakes
// with `ScopedServices`. The ports own no interpreter objects that outlive the module.
#pragma once

#include "core/runtime/faults.h"
#include "core/runtime/files.h"
#include "core/runtime/https.h"
#include "core/runtime/json_text.h"
#include "core/runtime/log.h"
#include "core/runtime/modules.h"
#include "core/runtime/plain_data.h"
#include "core/runtime/regex.h"
#include "core/runtime/system.h"
#include "core/runtime/threads.h"
#include "core/runtime/unicode.h"

namespace kavel::runtime {

struct Services {
  Regex* regex = nullptr;
  JsonText* json = nullptr;
  Log* log = nullptr;
  System* system = nullptr;
  Threads* threads = nullptr;
  Files* files = nullptr;
  Faults* faults = nullptr;
  Unicode* unicode = nullptr;
  PlainData* data = nullptr;
  Modules* modules = nullptr;
  Https* https = nullptr;
};

[[nodiscard]] Services& services() noexcept;

/// Replaces services for a scope; for tests.
class ScopedServices {
 public:
  explicit ScopedServices(const Services& replacement) : saved_(services()) {
    services() = replacement;
  }
  ScopedServices(const ScopedServices&) = delete;
  ScopedServices& operator=(const ScopedServices&) = delete;
  ~ScopedServices() { services() = saved_; }

 private:
  Services saved_;
};

}  // namespace kavel::runtime
