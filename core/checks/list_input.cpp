#include "core/checks/list_input.h"

#include <utility>

namespace kavel::checks {
namespace {

foundation::Error wrong_element(const char* expected) {
  return {foundation::ErrorKind::type, std::string("an element of a stored list has ") + expected};
}

/// The text under "text", empty when there is none.
std::string stored_text(const Json& data) {
  const Json* text = stored(data, "text");
  if (text == nullptr) return {};
  if (text->text() == nullptr) throw wrong_element("a \"text\" that is no text");
  return *text->text();
}

bool stored_enabled(const Json& data) {
  const Json* enabled = stored(data, "enabled");
  if (enabled == nullptr) return false;
  if (enabled->boolean() == nullptr) throw wrong_element("an \"enabled\" that is no Boolean");
  return *enabled->boolean();
}

}  // namespace

TextInput::TextInput(const Json& text, const Json& enabled) {
  foundation::assert_that(text.text() != nullptr, "\"text\" must be a text");
  foundation::assert_that(enabled.boolean() != nullptr, "\"enabled\" must be a Boolean");
  text_ = *text.text();
  enabled_ = *enabled.boolean();
}

Ref<TextInput> TextInput::from(const Json& data) {
  return runtime::make<TextInput>(stored_text(data), stored_enabled(data));
}

void TextInput::load(const Json& data) {
  std::string text = stored_text(data);
  set_enabled(stored_enabled(data));
  set_text(std::move(text));
}

Ref<TextInput> TextInput::clone() const { return runtime::make<TextInput>(text_, enabled_); }

std::string TextInput::description() const {
  return std::string("<class TextInput> enabled=") + (enabled_ ? "True" : "False") + " text=\"" +
         text_ + "\"";
}

void TextInput::set_text(std::string text) {
  text_ = std::move(text);
  note_edit();
}

void TextInput::set_enabled(bool enabled) noexcept {
  enabled_ = enabled;
  note_edit();
}

TextMatch::TextMatch(const Json& text) {
  foundation::assert_that(text.text() != nullptr, "\"text\" must be a text");
  text_ = *text.text();
}

Ref<TextMatch> TextMatch::from(const Json& data) {
  return runtime::make<TextMatch>(stored_text(data));
}

void TextMatch::load(const Json& data) { set_text(stored_text(data)); }

Ref<TextMatch> TextMatch::clone() const { return runtime::make<TextMatch>(text_); }

void TextMatch::set_text(std::string text) {
  text_ = std::move(text);
  note_edit();
}

IntSlice::IntSlice(Ref<IntRange> start, Ref<IntRange> stop)
    : start(std::move(start)), stop(std::move(stop)) {
  foundation::assert_that(this->start && this->stop, "a slice is made of two integer ranges");
}

void IntSlice::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(start);
  visitor(stop);
}

Json IntSlice::data() const { return Json::Map{{"start", start->data()}, {"stop", stop->data()}}; }

void IntSlice::load(const Json& data) {
  const Json* first = stored(data, "start");
  const Json* last = stored(data, "stop");
  if (first != nullptr) start->load(*first);
  if (last != nullptr) stop->load(*last);
}

Ref<IntSlice> IntSlice::clone() const {
  const auto copy = [](const Ref<IntRange>& range) {
    const Ref<Input> clone = range->clone();
    auto* own = dynamic_cast<IntRange*>(clone.get());
    if (own == nullptr) throw wrong_element("a range whose clone is none");
    return Ref<IntRange>(own);
  };
  return runtime::make<IntSlice>(copy(start), copy(stop));
}

template <class Element>
Json ListInput<Element>::own_data() const {
  Json::Array array;
  for (const Item& item : items_) array.push_back(item->data());
  return array;
}

template <class Element>
void ListInput<Element>::own_load(const Json& data) {
  if (data.array() == nullptr) throw wrong_type(*this, "a JSON array");
  std::vector<Item> loaded;
  for (const Json& element : *data.array()) loaded.push_back(make(element));
  build(std::move(loaded));
}

template <class Element>
void ListInput<Element>::add(Item element) {
  foundation::assert_that(static_cast<bool>(element), "none is no element of \"" + attr() + "\"");
  adapt(*element);
  items_.push_back(std::move(element));
  note_edit();
}

template <class Element>
typename ListInput<Element>::Item ListInput<Element>::pop(std::size_t position) {
  Item removed = items_[position];
  items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(position));
  note_edit();
  return removed;
}

template <class Element>
void ListInput<Element>::build(std::vector<Item> elements) {
  for (const Item& element : elements) {
    foundation::assert_that(static_cast<bool>(element), "none is no element of \"" + attr() + "\"");
    adapt(*element);
  }
  std::swap(items_, elements);
  note_edit();
}

template <class Element>
void ListInput<Element>::copy_from(const ListInput& other) {
  items_.reserve(other.items_.size());
  for (const Item& item : other.items_) items_.push_back(item->clone());
}

template class ListInput<TextInput>;
template class ListInput<TextMatch>;
template class ListInput<IntSlice>;

TextInputList::TextInputList(InputTexts texts, std::vector<Item> elements)
    : ListInput(std::move(texts)) {
  build(std::move(elements));
}

Ref<Input> TextInputList::own_clone() const { return Ref<Input>(new TextInputList(*this)); }

std::vector<std::string> TextInputList::values() const {
  std::vector<std::string> result;
  for (const Item& item : items()) {
    if (item->is_enabled()) result.push_back(item->text());
  }
  return result;
}

std::string TextInputList::description() const {
  std::string lines;
  for (const Item& item : items()) {
    if (!lines.empty()) lines += "\n";
    lines += "  " + item->description();
  }
  return "<class TextInputList> " + lines;
}

TextMatchList::TextMatchList(InputTexts texts, std::vector<Item> elements)
    : ListInput(std::move(texts)) {
  build(std::move(elements));
}

Ref<Input> TextMatchList::own_clone() const { return Ref<Input>(new TextMatchList(*this)); }

std::vector<std::string> TextMatchList::values() const {
  std::vector<std::string> result;
  for (const Item& item : items()) result.push_back(item->text());
  return result;
}

IntSliceList::IntSliceList(InputTexts texts, const Ref<IntSlice>& initial,
                           std::vector<Item> elements)
    : ListInput(std::move(texts)) {
  foundation::assert_that(static_cast<bool>(initial), "a list of slices needs a default slice");
  start_ = {initial->start->spec(), initial->start->value()};
  stop_ = {initial->stop->spec(), initial->stop->value()};
  build(std::move(elements));
}

Ref<Input> IntSliceList::own_clone() const { return Ref<Input>(new IntSliceList(*this)); }

void IntSliceList::adapt(IntSlice& element) const {
  element.start->set_spec(start_.spec);
  element.stop->set_spec(stop_.spec);
}

IntSliceList::Item IntSliceList::make(const Json& data) const {
  auto slice = runtime::make<IntSlice>(range("start", start_), range("stop", stop_));
  slice->load(data);
  return slice;
}

Ref<IntRange> IntSliceList::range(const char* attr, const Side& side) {
  return runtime::make<IntRange>(InputTexts{attr, "", ""},
                                 RangeArguments{.minimum = side.spec.minimum,
                                                .maximum = side.spec.maximum,
                                                .step = side.spec.step,
                                                .value = side.value,
                                                .prefix = side.spec.prefix,
                                                .units = side.spec.units});
}

}  // namespace kavel::checks
