#include "core/checks/scalar_input.h"

#include <cmath>
#include <cstdlib>
#include <type_traits>

namespace kavel::checks {
namespace {

template <class Number>
constexpr const char* kExpected =
    std::is_same_v<Number, double> ? "a number" : "a whole number of at most 64 bits";

/// The number that `json` holds, a Boolean counting as 0 or 1; nothing for another type.
template <class Number>
std::optional<Number> number(const Json& json) {
  if (const bool* value = json.boolean()) return static_cast<Number>(*value ? 1 : 0);
  if constexpr (std::is_same_v<Number, double>) {
    if (const auto* big = json.big_integer()) {
      const double value = std::strtod(big->digits.c_str(), nullptr);
      return std::isfinite(value) ? std::optional(value) : std::nullopt;
    }
    return json.number();
  } else {
    const std::int64_t* value = json.integer();
    return value ? std::optional(*value) : std::nullopt;
  }
}

template <class Number>
Number asserted(const Json& json, const char* name) {
  const auto value = number<Number>(json);
  foundation::assert_that(value.has_value(),
                          std::string("\"") + name + "\" must be " + kExpected<Number>);
  return *value;
}

const std::string& asserted_text(const Json& json, const char* name) {
  foundation::assert_that(json.text() != nullptr, std::string("\"") + name + "\" must be a text");
  return *json.text();
}

}  // namespace

template <class Number>
Range<Number>::Range(InputTexts texts, const RangeArguments& arguments)
    : Input(std::move(texts)),
      spec_(std::make_shared<const Spec>(Spec{
          .minimum = asserted<Number>(arguments.minimum, "minimum"),
          .maximum = asserted<Number>(arguments.maximum, "maximum"),
          .step = asserted<Number>(arguments.step, "step"),
          .precision = asserted<std::int64_t>(arguments.precision, "precision"),
          .prefix = asserted_text(arguments.prefix, "prefix"),
          .units = asserted_text(arguments.units, "units"),
      })),
      value_(asserted<Number>(arguments.value, "value")) {}

template <class Number>
void Range<Number>::own_load(const Json& data) {
  const Json* value = stored(data, "value");
  if (value == nullptr) return;
  if (!set_option(*value)) throw wrong_type(*this, kExpected<Number>);
}

template <class Number>
bool Range<Number>::set_option(const Json& value) {
  const auto loaded = number<Number>(value);
  if (loaded) set_value(*loaded);
  return loaded.has_value();
}

template <class Number>
void Range<Number>::set_value(Number value) noexcept {
  value_ = value;
  note_edit();
}

template <class Number>
void Range<Number>::set_spec(Spec spec) {
  spec_ = std::make_shared<const Spec>(std::move(spec));
  note_edit();
}

template class Range<std::int64_t>;
template class Range<double>;

RegEx::RegEx(InputTexts texts, const Json& text)
    : Input(std::move(texts)), expression_(asserted_text(text, "text")) {}

void RegEx::own_load(const Json& data) {
  const Json* text = stored(data, "text");
  if (text == nullptr) return;
  if (text->text() == nullptr) throw wrong_type(*this, "a text");
  set_expression(*text->text());
}

void RegEx::set_expression(std::string text) {
  expression_ = std::move(text);
  note_edit();
}

Switch::Switch(InputTexts texts, const Json& enabled)
    : Input(std::move(texts)), enabled_(enabled.boolean() != nullptr && *enabled.boolean()) {
  foundation::assert_that(enabled.boolean() != nullptr, "\"enabled\" must be a Boolean");
}

void Switch::own_load(const Json& data) {
  const Json* enabled = stored(data, "enabled");
  if (enabled == nullptr) return;
  if (!set_option(*enabled)) throw wrong_type(*this, "a Boolean");
}

bool Switch::set_option(const Json& value) {
  if (value.boolean() == nullptr) return false;
  set_enabled(*value.boolean());
  return true;
}

void Switch::set_enabled(bool enabled) noexcept {
  enabled_ = enabled;
  note_edit();
}

}  // namespace kavel::checks
