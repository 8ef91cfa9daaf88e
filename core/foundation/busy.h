// A mark that work is under way, for operations that must not be entered again from within.
#pragma once

namespace kavel::foundation {

/// Sets the flag for its own lifetime.
class Busy {
 public:
  explicit Busy(bool& flag) noexcept : flag_(flag) { flag_ = true; }
  Busy(const Busy&) = delete;
  Busy& operator=(const Busy&) = delete;
  ~Busy() { flag_ = false; }

 private:
  bool& flag_;
};

}  // namespace kavel::foundation
