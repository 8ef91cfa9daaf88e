// Inputs that hold one value: numbers in a range, an expression, a switch.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/checks/input.h"

namespace kavel::checks {

/// What an author gives for a range of numbers; each number is checked by the range.
struct RangeArguments {
  Json minimum;
  Json maximum;
  Json step;
  Json value;
  Json prefix;
  Json units;
  Json precision = 0;
};

/// A range of numbers: `minimum`, `maximum`, `step` and `value` can be changed at any time; a value
/// outside of the range is kept as it is.
template <class Number>
class Range final : public Input {
 public:
  /// What copies share until one of them changes it.
  struct Spec {
    Number minimum;
    Number maximum;
    Number step;
    std::int64_t precision;
    std::string prefix;
    std::string units;
  };

  /// Assertion failure unless the numbers are of this type and prefix and units are texts.
  Range(InputTexts texts, const RangeArguments& arguments);

  [[nodiscard]] Json own_data() const override { return Json::Map{{"value", value_}}; }
  void own_load(const Json& data) override;
  [[nodiscard]] Ref<Input> own_clone() const override { return Ref<Input>(new Range(*this)); }
  [[nodiscard]] std::optional<Json> option() const override { return Json(value_); }
  bool set_option(const Json& value) override;

  [[nodiscard]] Number value() const noexcept { return value_; }
  void set_value(Number value) noexcept;
  [[nodiscard]] const Spec& spec() const noexcept { return *spec_; }
  void set_spec(Spec spec);

 private:
  Range(const Range& other) noexcept
      : Input(other.texts()), spec_(other.spec_), value_(other.value_) {}

  std::shared_ptr<const Spec> spec_;
  Number value_;
};

using IntRange = Range<std::int64_t>;
using FloatRange = Range<double>;
extern template class Range<std::int64_t>;
extern template class Range<double>;

/// A regular expression.
class RegEx final : public Input {
 public:
  /// Assertion failure unless `text` is a text.
  RegEx(InputTexts texts, const Json& text);

  [[nodiscard]] Json own_data() const override { return Json::Map{{"text", expression_}}; }
  void own_load(const Json& data) override;
  [[nodiscard]] Ref<Input> own_clone() const override { return Ref<Input>(new RegEx(*this)); }

  [[nodiscard]] const std::string& expression() const noexcept { return expression_; }
  void set_expression(std::string text);

 private:
  RegEx(const RegEx& other) : Input(other.texts()), expression_(other.expression_) {}

  std::string expression_;
};

/// On or off.
class Switch final : public Input {
 public:
  /// Assertion failure unless `enabled` is a Boolean.
  Switch(InputTexts texts, const Json& enabled);

  [[nodiscard]] Json own_data() const override { return Json::Map{{"enabled", enabled_}}; }
  void own_load(const Json& data) override;
  [[nodiscard]] Ref<Input> own_clone() const override { return Ref<Input>(new Switch(*this)); }
  [[nodiscard]] std::optional<Json> option() const override { return Json(enabled_); }
  bool set_option(const Json& value) override;

  [[nodiscard]] bool is_enabled() const noexcept { return enabled_; }
  void set_enabled(bool enabled) noexcept;

 private:
  Switch(const Switch& other) noexcept : Input(other.texts()), enabled_(other.enabled_) {}

  bool enabled_;
};

}  // namespace kavel::checks
