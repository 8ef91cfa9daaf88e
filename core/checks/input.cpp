#include "core/checks/input.h"

#include "core/foundation/assertions.h"

namespace kavel::checks {
namespace {

std::uint64_t edit_count = 0;

}  // namespace

std::uint64_t edits() noexcept { return edit_count; }
void note_edit() noexcept { ++edit_count; }

Input::Input(InputTexts texts) {
  foundation::assert_attribute_name(texts.attr);
  texts_ = std::make_shared<const InputTexts>(std::move(texts));
}

std::string Input::text() const {
  return "attr=\"" + attr() + "\" label=\"" + label() + "\" help=\"" + help_text() + "\"";
}

Json Input::own_data() const { throw foundation::not_implemented("the value of a plain input"); }

void Input::own_load(const Json& /*data*/) {
  throw foundation::not_implemented("loading a plain input");
}

Ref<Input> Input::own_clone() const { return Ref<Input>(new Input(texts_)); }

const Json* stored(const Json& data, std::string_view key) {
  if (data.map() == nullptr) {
    throw foundation::Error(foundation::ErrorKind::type, "a stored value must be a JSON object");
  }
  return data.find(key);
}

foundation::Error wrong_type(const Input& input, const char* expected) {
  return {foundation::ErrorKind::type,
          "the stored value of \"" + input.attr() + "\" is not " + expected};
}

}  // namespace kavel::checks
