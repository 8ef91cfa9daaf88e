#include "core/runtime/value.h"

#include <vector>

namespace kavel::runtime {
namespace {

ValueOperations operations{};

}  // namespace

void install_value_operations(const ValueOperations& installed) noexcept { operations = installed; }

Value::Value(const Value& other) noexcept : value_(other.value_) {
  if (value_ != nullptr) operations.retain(value_);
}

Value::~Value() {
  if (value_ != nullptr) operations.release(value_);
}

Value Value::borrow(void* value) noexcept {
  if (value != nullptr) operations.retain(value);
  return Value(value);
}

Value Value::steal(void* value) noexcept { return Value(value); }

Value Value::call(std::span<const Value> arguments) const {
  std::vector<void*> raw;
  raw.reserve(arguments.size());
  for (const Value& argument : arguments) raw.push_back(argument.get());
  return Value(operations.call(value_, raw.data(), static_cast<int>(raw.size())));
}

bool operator==(const Value& left, const Value& right) {
  if (left.value_ == right.value_) return true;
  if (left.value_ == nullptr || right.value_ == nullptr) return false;
  return operations.equal(left.value_, right.value_);
}

}  // namespace kavel::runtime
