// Locks of the interpreter: waiting for one releases the interpreter's own lock.
#pragma once

#include <memory>

#include "core/runtime/value.h"

namespace kavel::runtime {

/// Not recursive.
class Lock {
 public:
  virtual ~Lock() = default;
  virtual void acquire() = 0;
  [[nodiscard]] virtual bool try_acquire() = 0;
  virtual void release() = 0;
  /// The interpreter's own lock, for hosts that hold it themselves; empty when there is none.
  [[nodiscard]] virtual Value value() const { return {}; }
};

class Threads {
 public:
  virtual ~Threads() = default;
  [[nodiscard]] virtual std::unique_ptr<Lock> make_lock() = 0;
};

/// Releases a lock that is held at the end of a scope. A host may have released it already, which
/// the interpreter calls an error; a destructor has nobody to tell.
class LockRelease {
 public:
  explicit LockRelease(Lock& held) : lock_(held) {}
  LockRelease(const LockRelease&) = delete;
  LockRelease& operator=(const LockRelease&) = delete;
  ~LockRelease() {
    try {
      lock_.release();
    } catch (...) {
    }
  }

 private:
  Lock& lock_;
};

/// Holds a lock for a scope.
class LockGuard {
 public:
  explicit LockGuard(Lock& lock) : release_((lock.acquire(), lock)) {}

 private:
  LockRelease release_;
};

}  // namespace kavel::runtime
