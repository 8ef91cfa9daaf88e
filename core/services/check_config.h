// Which checks are enabled and with which parameters: the user's choice, a preset's or a rule's.
#pragma once

#include <string>
#include <vector>

#include "core/foundation/json.h"
#include "core/runtime/object.h"

namespace kavel::services {

/// The choice for one check class.
class CheckEntry final : public runtime::Object {
 public:
  /// Not enabled, not opened, without parameters.
  explicit CheckEntry(std::string class_id) : class_id(std::move(class_id)) {}
  /// From {"enabled", "opened", "parameters"}; what is missing or of another type is the default.
  CheckEntry(std::string class_id, const foundation::Json& data);

  [[nodiscard]] foundation::Json data() const;

  std::string class_id;
  bool enabled = false;
  /// Whether its panel is expanded in the user interface.
  bool opened = false;
  /// The array of stored parameter sets.
  foundation::Json parameters = foundation::Json::Array();
};

/// The entries of check classes, in order of their first mention.
class CheckConfig final : public runtime::Object {
 public:
  CheckConfig() = default;
  explicit CheckConfig(const foundation::Json& data) { load(data); }

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(entries_); }
  void drop_references() noexcept override { entries_.clear(); }

  /// Replaces every entry by those of a map from class id to entry data; entries that are no maps
  /// get the defaults, and anything but a map counts as an empty one.
  void load(const foundation::Json& data);
  [[nodiscard]] foundation::Json data() const;

  /// The entry of a class. When there is none: null, or with `force` a new one with the defaults,
  /// which is stored.
  runtime::Ref<CheckEntry> get(const std::string& class_id, bool force = false);
  /// The class ids, in order.
  [[nodiscard]] std::vector<std::string> mask() const;
  [[nodiscard]] runtime::Ref<CheckConfig> clone() const;
  /// Takes over the content of `other`; this object and nothing of `other` is held.
  void apply(const CheckConfig& other) { load(other.data()); }
  [[nodiscard]] bool is_empty() const noexcept { return entries_.empty(); }

  /// Equality of content.
  friend bool operator==(const CheckConfig& left, const CheckConfig& right) {
    return left.data() == right.data();
  }

 private:
  std::vector<runtime::Ref<CheckEntry>> entries_;
};

}  // namespace kavel::services
