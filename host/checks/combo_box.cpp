#include "core/checks/combo_box.h"

#include "host/checks/inputs.h"

namespace kavel::host {
namespace {

using checks::ComboBox;
using checks::ComboItem;

void bind_item(py::handle scope) {
  auto item = define<ComboItem>(scope, "Item", "One item of a combo box.");
  define_init(
      item,
      [](const py::object& attr, const py::object& text, const py::object& selected) {
        return new ComboItem(input_texts(attr, py::str(), py::str()).attr, plain_argument(text),
                             plain_argument(selected));
      },
      py::arg("attr"), py::arg("text"), py::arg("selected") = false,
      "attr: the name under which the choice is stored. text: what is shown.\n"
      "Errors: `Error.WrongAttributeName`, `Error.PrivateAttributeName`; AssertionError for a "
      "`text` that is none and a `selected` that is no Boolean.");
  item.def_property_readonly("attr", &ComboItem::attr, "The attribute name.");
  item.def_property_readonly("text", &ComboItem::text, "What is shown.");
  item.def_property("selected", &ComboItem::is_selected, &ComboItem::set_selected,
                    "Whether it is selected; the other items of the box do not change.");
  item.def("clone", &ComboItem::clone, "A copy.");
}

}  // namespace

void bind_combo_box(py::handle scope) {
  auto box = define<ComboBox, Input>(
      scope, "ComboBox", "One of several items; stored as {\"selected_attr\": attribute name}.");
  bind_item(box);
  define_init(
      box,
      [](const py::object& attr, const py::object& items, const py::object& label,
         const py::object& help_text) {
        return new ComboBox(input_texts(attr, label, help_text),
                            asserted_elements<ComboItem>(
                                items, "a combo box is made of `Parameters.ComboBox.Item`"));
      },
      py::arg("attr_name"), py::arg("items"), py::arg("label") = "", py::arg("help_text") = "",
      "items: any iterable of items, taken as they are. Without a selected one the first is "
      "selected; of several the first stays.\n"
      "Errors: `Error.AttributeNameRepeat` for two items of one name; AssertionError for an object "
      "that is no item.");
  box.def("__len__", [](const ComboBox& self) { return self.items().size(); });
  box.def("__iter__", [](const ComboBox& self) {
    py::list items;
    for (const auto& item : self.items()) items.append(expose(item));
    return py::iter(items);
  });
  box.def("get_selected", &ComboBox::selected_text,
          "The text of the selected item, empty when there is none.");
  box.def("set_selected", &ComboBox::select_text, py::arg("text"),
          "Selects the item of that text and no other; an unknown text changes nothing.");
  box.def_property_readonly("current_index", &ComboBox::current_index,
                            "Position of the selected item, 0 when none is.");
  box.def("_ensure_selection", &ComboBox::ensure_selection,
          "Leaves exactly one item selected: the first that is, else the first of all.");
  box.def("_select_first", &ComboBox::select_first, "Selects the first item and no other.");
}

}  // namespace kavel::host
