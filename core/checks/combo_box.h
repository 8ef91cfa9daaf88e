// A choice of one among named items.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/checks/input.h"

namespace kavel::checks {

class ComboItem final : public runtime::Object {
 public:
  /// Throws the attribute-name errors, and an assertion failure unless `text` is a text and
  /// `selected` a Boolean.
  ComboItem(std::string attr, const Json& text, const Json& selected);

  [[nodiscard]] Ref<ComboItem> clone() const;

  [[nodiscard]] const std::string& attr() const noexcept { return attr_; }
  [[nodiscard]] const std::string& text() const noexcept { return text_; }
  [[nodiscard]] bool is_selected() const noexcept { return selected_; }
  void set_selected(bool selected) noexcept;

 private:
  ComboItem(const ComboItem& other)
      : attr_(other.attr_), text_(other.text_), selected_(other.selected_) {}

  std::string attr_;
  std::string text_;
  bool selected_;
};

/// Exactly one item is selected, unless there are none or a caller deselected one by hand.
class ComboBox final : public Input {
 public:
  using Item = Ref<ComboItem>;

  /// Throws the attribute-name-repeat error for two items of one attribute name.
  ComboBox(InputTexts texts, std::vector<Item> items);

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(items_); }

  [[nodiscard]] Json own_data() const override;
  void own_load(const Json& data) override;
  [[nodiscard]] Ref<Input> own_clone() const override;
  [[nodiscard]] std::optional<Json> option() const override { return Json(selected_text()); }
  bool set_option(const Json& value) override;

  /// Of the items marked as selected only the first stays so; without one the first item is.
  void ensure_selection();
  void select_first();
  /// Selects the first item of that text; an unknown text leaves the selection as it is.
  void select_text(const std::string& text);
  /// Empty when nothing is selected.
  [[nodiscard]] std::string selected_text() const;
  /// Position of the selected item, 0 when none is.
  [[nodiscard]] std::size_t current_index() const;
  [[nodiscard]] const std::vector<Item>& items() const noexcept { return items_; }

 private:
  ComboBox(const ComboBox& other);
  [[nodiscard]] const ComboItem* selected() const;
  void select(const ComboItem& chosen);

  std::vector<Item> items_;
};

}  // namespace kavel::checks
