#include "core/checks/combo_box.h"

#include <algorithm>

#include "core/foundation/assertions.h"

namespace kavel::checks {

ComboItem::ComboItem(std::string attr, const Json& text, const Json& selected)
    : attr_(std::move(attr)) {
  foundation::assert_attribute_name(attr_);
  foundation::assert_that(text.text() != nullptr, "\"text\" must be a text");
  foundation::assert_that(selected.boolean() != nullptr, "\"selected\" must be a Boolean");
  text_ = *text.text();
  selected_ = *selected.boolean();
}

Ref<ComboItem> ComboItem::clone() const { return Ref<ComboItem>(new ComboItem(*this)); }

void ComboItem::set_selected(bool selected) noexcept {
  selected_ = selected;
  note_edit();
}

ComboBox::ComboBox(InputTexts texts, std::vector<Item> items) : Input(std::move(texts)) {
  for (Item& item : items) {
    const bool repeats = std::ranges::any_of(
        items_, [&item](const Item& other) { return other->attr() == item->attr(); });
    if (repeats) {
      throw foundation::Error::about(foundation::ErrorKind::attribute_name_repeat, item->attr());
    }
    items_.push_back(std::move(item));
  }
  ensure_selection();
}

Json ComboBox::own_data() const {
  const ComboItem* item = selected();
  return Json::Map{{"selected_attr", item ? Json(item->attr()) : Json()}};
}

void ComboBox::own_load(const Json& data) {
  const Json* attr = stored(data, "selected_attr");
  if (attr == nullptr || attr->text() == nullptr) return;
  const auto item =
      std::ranges::find_if(items_, [attr](const Item& i) { return i->attr() == *attr->text(); });
  if (item != items_.end()) select(**item);
}

ComboBox::ComboBox(const ComboBox& other) : Input(other.texts()) {
  items_.reserve(other.items_.size());
  for (const Item& item : other.items_) items_.push_back(item->clone());
}

Ref<Input> ComboBox::own_clone() const { return Ref<Input>(new ComboBox(*this)); }

bool ComboBox::set_option(const Json& value) {
  if (value.text() == nullptr) return false;
  select_text(*value.text());
  return true;
}

void ComboBox::ensure_selection() {
  const ComboItem* chosen = selected();
  if (chosen == nullptr) return select_first();
  select(*chosen);
}

void ComboBox::select_first() {
  if (!items_.empty()) select(*items_.front());
}

void ComboBox::select_text(const std::string& text) {
  const auto item =
      std::ranges::find_if(items_, [&text](const Item& i) { return i->text() == text; });
  if (item != items_.end()) select(**item);
}

std::string ComboBox::selected_text() const {
  const ComboItem* item = selected();
  return item ? item->text() : std::string();
}

std::size_t ComboBox::current_index() const {
  const auto item = std::ranges::find_if(items_, [](const Item& i) { return i->is_selected(); });
  return item == items_.end() ? 0 : static_cast<std::size_t>(item - items_.begin());
}

const ComboItem* ComboBox::selected() const {
  const auto item = std::ranges::find_if(items_, [](const Item& i) { return i->is_selected(); });
  return item == items_.end() ? nullptr : item->get();
}

void ComboBox::select(const ComboItem& chosen) {
  for (const Item& item : items_) {
    const bool is_chosen = item.get() == &chosen;
    if (item->is_selected() != is_chosen) item->set_selected(is_chosen);
  }
}

}  // namespace kavel::checks
