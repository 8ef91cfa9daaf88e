#include "core/checks/classes.h"

#include <utility>

#include "core/foundation/errors.h"

namespace kavel::checks {

using runtime::Value;

Classes::Classes(Value check_directories)
    : directories(std::move(check_directories)),
      accepted(runtime::make<runtime::List<Value>>()),
      denied(runtime::make<runtime::List<Value>>()) {}

void Classes::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(directories);
  visitor(accepted);
  visitor(denied);
  for (const auto& [id, check_class] : by_id_) visitor(check_class);
}

void Classes::drop_references() noexcept {
  directories = Value();
  by_id_.clear();
}

void Classes::reload() { throw foundation::not_implemented("loading check classes"); }

Value Classes::get(const std::string& class_id) const {
  const auto found = by_id_.find(class_id);
  return found == by_id_.end() ? Value() : found->second;
}

}  // namespace kavel::checks
