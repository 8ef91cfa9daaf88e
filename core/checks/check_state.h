// The stored choice for a check, and the configuration that holds one for each check class: the
// core's own, or any objects of a host with the same attributes.
#pragma once

#include <memory>
#include <string>

#include "core/services/check_config.h"

namespace kavel::checks {

/// The choice for one check class.
class CheckState {
 public:
  virtual ~CheckState() = default;
  virtual void each_reference(runtime::ReferenceVisitor& visitor) const = 0;

  [[nodiscard]] virtual bool enabled() const = 0;
  /// Whether its panel is expanded in the user interface.
  [[nodiscard]] virtual bool opened() const = 0;
  /// The stored parameter sets.
  [[nodiscard]] virtual foundation::Json parameters() const = 0;
  virtual void store(bool enabled, bool opened, foundation::Json parameters) = 0;

  /// The core's own entry, or null.
  [[nodiscard]] virtual runtime::Ref<services::CheckEntry> native() const { return nullptr; }
  /// The host's object, or an empty value.
  [[nodiscard]] virtual runtime::Value object() const { return {}; }
};

class CheckConfigPort {
 public:
  virtual ~CheckConfigPort() = default;
  virtual void each_reference(runtime::ReferenceVisitor& visitor) const = 0;

  /// The entry of a class. When there is none: null, or with `force` a new one, which is stored.
  [[nodiscard]] virtual std::unique_ptr<CheckState> get(const std::string& class_id,
                                                        bool force) = 0;

  [[nodiscard]] virtual runtime::Ref<services::CheckConfig> native() const { return nullptr; }
  [[nodiscard]] virtual runtime::Value object() const { return {}; }
};

/// Over the core's own objects; null for null.
[[nodiscard]] std::unique_ptr<CheckState> check_state(runtime::Ref<services::CheckEntry> entry);
[[nodiscard]] std::unique_ptr<CheckConfigPort> check_config(
    runtime::Ref<services::CheckConfig> config);

}  // namespace kavel::checks
