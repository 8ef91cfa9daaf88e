#include "core/runtime/value.h"

#include <vector>

namespace kavel::runtime {
namespace {

ValueOperations installed{};

}  // namespace

void install_value_operations(const ValueOperations& operations) noexcept {
  installed = operations;
}

Value::Value(const Value& other) noexcept : value_(other.value_) {
  if (value_ != nullptr) installed.retain(value_);
}

Value::~Value() {
  if (value_ != nullptr) installed.release(value_);
}

Value Value::borrow(void* value) noexcept {
  if (value != nullptr) installed.retain(value);
  return Value(value);
}

Value Value::steal(void* value) noexcept { return Value(value); }

Value Value::call(std::span<const Value> arguments) const {
  std::vector<void*> raw;
  raw.reserve(arguments.size());
  for (const Value& argument : arguments) raw.push_back(argument.get());
  return Value(installed.call(value_, raw.data(), static_cast<int>(raw.size())));
}

bool operator==(const Value& left, const Value& right) {
  if (left.value_ == right.value_) return true;
  if (left.value_ == nullptr || right.value_ == nullptr) return false;
  return installed.equal(left.value_, right.value_);
}

}  // namespace kavel::runtime
