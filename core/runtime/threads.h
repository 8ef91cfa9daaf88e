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

/// Holds a lock for a scope.
class LockGuard {
 public:
  explicit LockGuard(Lock& lock) : lock_(lock) { lock_.acquire(); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;
  ~LockGuard() { lock_.release(); }

 private:
  Lock& lock_;
};

}  // namespace kavel::runtime
