// The check list as the editor of presets needs it, implemented by any object with the same
// attributes.
#pragma once

#include "core/services/check_presets.h"
#include "host/py.h"

namespace kavel::host {

/// Uses `config` and `load(config)`.
class HostCheckList final : public services::CheckListPort {
 public:
  explicit HostCheckList(Value object) : object_(std::move(object)) {}

  [[nodiscard]] Ref<services::CheckConfig> config() override {
    return from_value(object_).attr("config").cast<OrNone<services::CheckConfig>>().reference;
  }
  void load(const Ref<services::CheckConfig>& config) override {
    from_value(object_).attr("load")(expose(config));
  }
  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(object_); }

 private:
  Value object_;
};

}  // namespace kavel::host
