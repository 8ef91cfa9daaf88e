#include "core/export/options.h"

#include <utility>

namespace kavel::exporting {

using foundation::Json;
using runtime::Value;

Options::Options(Formats formats) : formats_(std::move(formats)) {}

void Options::each_reference(runtime::ReferenceVisitor& visitor) const {
  for (const auto& format : formats_) visitor(format->value());
}

void Options::drop_references() noexcept { formats_.clear(); }

std::vector<Value> Options::formats() const {
  std::vector<Value> values;
  values.reserve(formats_.size());
  for (const auto& format : formats_) values.push_back(format->value());
  return values;
}

const Format* Options::selected_format() const noexcept {
  return selected_ < formats_.size() ? formats_[selected_].get() : nullptr;
}

Value Options::selected() const {
  const Format* format = selected_format();
  return format == nullptr ? Value() : format->value();
}

void Options::select(const Value& key, const std::string& text) {
  const auto select_where = [this](auto&& fits) {
    for (std::size_t index = 0; index < formats_.size(); ++index) {
      if (!fits(*formats_[index])) continue;
      selected_ = index;
      return true;
    }
    return false;
  };
  if (select_where([&](const Format& format) { return format.value().same(key); }) ||
      select_where([&](const Format& format) { return format.attr() == text; }) ||
      select_where([&](const Format& format) { return format.label() == text; })) {
    return;
  }
  select_any();
}

Json Options::data() const {
  Json formats = Json::Map();
  for (const auto& format : formats_) formats.set(format->attr(), format->data());
  const Format* format = selected_format();
  const Json selected = format == nullptr ? Json() : Json(format->attr());
  return Json::Map{{"formats", std::move(formats)}, {"selected", selected}};
}

void Options::load(const Json& data) {
  const Json* stored = data.find("formats");
  for (const auto& format : formats_) {
    const Json* values = stored == nullptr ? nullptr : stored->find(format->attr());
    format->load(values == nullptr ? Json(Json::Map()) : *values);
  }
  select(Value(), data.text_or("selected", ""));
}

runtime::Ref<Options> Options::clone() const {
  Formats copies;
  for (const auto& format : formats_) copies.push_back(format->clone());
  auto copy = runtime::make<Options>(std::move(copies));
  copy->selected_ = selected_;
  return copy;
}

}  // namespace kavel::exporting
