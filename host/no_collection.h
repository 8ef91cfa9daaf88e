// A scope without garbage collection.
#pragma once

#include "host/py.h"

namespace kavel::host {

/// Keeps the garbage collector from running, where the interpreter can (from 3.10).
class NoCollection {
 public:
#if PY_VERSION_HEX >= 0x030A0000
  NoCollection() : was_enabled_(PyGC_Disable()) {}
  ~NoCollection() {
    if (was_enabled_ != 0) PyGC_Enable();
  }

 private:
  int was_enabled_;
#else
  NoCollection() {}
#endif

 public:
  NoCollection(const NoCollection&) = delete;
  NoCollection& operator=(const NoCollection&) = delete;
};

}  // namespace kavel::host
