#include "core/checks/check_list.h"

#include <utility>

namespace kavel::checks {

using runtime::Value;

CheckList::CheckList(Value classes, Value presets, const Value& config)
    : controls(runtime::make<runtime::List<Value>>()),
      categories(runtime::make<runtime::List<Value>>()),
      classes_(std::move(classes)),
      presets_(std::move(presets)) {
  if (config) load(config);
}

void CheckList::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(controls);
  visitor(categories);
  visitor(classes_);
  visitor(presets_);
  visitor(config_);
}

void CheckList::drop_references() noexcept {
  classes_ = Value();
  presets_ = Value();
  config_ = Value();
}

}  // namespace kavel::checks
