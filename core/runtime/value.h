// An opaque value of the interpreter that loaded the core: the core copies, compares and calls it
// and never looks inside. Each copy is one counted reference of the interpreter, so whoever holds
// a Value in a member shows it to the collector (see object.h).
#pragma once

#include <span>
#include <utility>

namespace kavel::runtime {

/// What the host's interpreter does for `Value`; installed once, before the first value is made.
struct ValueOperations {
  void (*retain)(void* value) noexcept;
  void (*release)(void* value) noexcept;
  /// The interpreter's `==`; may run foreign code and throw.
  bool (*equal)(void* left, void* right);
  /// Calls `callable` with positional arguments; returns a new reference; may throw.
  void* (*call)(void* callable, void* const* arguments, int count);
};

void install_value_operations(const ValueOperations& operations) noexcept;

class Value {
 public:
  Value() noexcept = default;
  Value(const Value& other) noexcept;
  Value(Value&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
  Value& operator=(Value other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Value();

  /// Wraps a reference that the caller keeps (`borrow`) or hands over (`steal`).
  [[nodiscard]] static Value borrow(void* value) noexcept;
  [[nodiscard]] static Value steal(void* value) noexcept;

  [[nodiscard]] void* get() const noexcept { return value_; }
  /// Hands the counted reference over to the caller.
  [[nodiscard]] void* detach() noexcept { return std::exchange(value_, nullptr); }
  /// False for a default-made value only; the interpreter's own none is a value.
  explicit operator bool() const noexcept { return value_ != nullptr; }
  [[nodiscard]] bool same(const Value& other) const noexcept { return value_ == other.value_; }

  /// Calls the value with positional arguments. Throws what the called object raises.
  // NOLINTNEXTLINE(modernize-use-nodiscard): often called for its effect
  Value call(std::span<const Value> arguments = {}) const;

  /// The interpreter's equality, identity first as its own containers do.
  friend bool operator==(const Value& left, const Value& right);

 private:
  explicit Value(void* value) noexcept : value_(value) {}
  void* value_ = nullptr;
};

}  // namespace kavel::runtime
