// One naming rule of a project: what name and type a scene object must bear to match it, how often
// it may stand in one place, which checks run on it and how it is shown.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/foundation/json.h"
#include "core/runtime/list.h"
#include "core/runtime/object.h"
#include "core/services/check_config.h"

namespace kavel::projects {

/// How many objects may match a rule in one place, both ends included. A minimum above the maximum
/// is accepted; such a rule allows no count at all.
class Range final : public runtime::Object {
 public:
  Range() = default;
  /// Whole numbers within +-2^53; throws a value error for anything else.
  Range(const foundation::Json& minimum, const foundation::Json& maximum);
  /// From a list of two; throws a value error for any other shape.
  explicit Range(const foundation::Json& data);

  [[nodiscard]] std::int64_t minimum() const noexcept { return minimum_; }
  [[nodiscard]] std::int64_t maximum() const noexcept { return maximum_; }
  void set_minimum(const foundation::Json& value);
  void set_maximum(const foundation::Json& value);

  /// [minimum, maximum]
  [[nodiscard]] foundation::Json data() const;

  friend bool operator==(const Range& left, const Range& right) noexcept {
    return left.minimum_ == right.minimum_ && left.maximum_ == right.maximum_;
  }

 private:
  std::int64_t minimum_ = 1;
  std::int64_t maximum_ = 1;
};

class Rule final : public runtime::Object {
 public:
  using Texts = runtime::List<std::string>;

  /// From a map; missing keys take their defaults, a missing stamp is drawn at random. Throws when
  /// a value has a wrong type or shape.
  explicit Rule(const foundation::Json& data);

  void each_reference(runtime::ReferenceVisitor& visitor) const override {
    visitor(types_);
    visitor(range_);
    visitor(check_config);
  }

  [[nodiscard]] const runtime::Ref<Texts>& types() const noexcept { return types_; }
  [[nodiscard]] const runtime::Ref<Range>& range() const noexcept { return range_; }
  /// Refills the list of types in place from a list of texts; an assertion failure for anything
  /// else, and the list then keeps its content.
  void set_types(const foundation::Json& types);

  /// Whether it stands for the nameless level above the hierarchies.
  [[nodiscard]] bool is_ghost() const noexcept;

  /// "stamp", "name", "regex", "types", "checklist", "range", "color", "icon".
  [[nodiscard]] foundation::Json data() const;

  /// Identity of the rule: what the tree and the scanned objects refer to.
  std::string stamp;
  std::string name = "name";
  std::string regex;
  /// "#" and six hexadecimal digits.
  std::optional<std::string> color;
  std::optional<std::string> icon;
  runtime::Ref<services::CheckConfig> check_config;

 private:
  const runtime::Ref<Texts> types_;
  runtime::Ref<Range> range_;
};

/// A rule that every new project may start from.
struct PredefinedRule {
  std::string_view name;
  std::string_view regex;
  /// Empty for none.
  std::string_view type;
  std::string_view color;
  std::string_view icon;
};

[[nodiscard]] const std::array<PredefinedRule, 3>& predefined_rules() noexcept;
[[nodiscard]] runtime::Ref<Rule> make_rule(const PredefinedRule& row);

}  // namespace kavel::projects
