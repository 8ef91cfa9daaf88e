#include "core/checks/list_input.h"
#include "host/checks/inputs.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using checks::IntRange;
using checks::IntSlice;
using checks::IntSliceList;
using checks::TextInput;
using checks::TextInputList;
using checks::TextMatch;
using checks::TextMatchList;

/// What every list can do.
template <class List, class Element>
void bind_list_operations(py::class_<List, Input>& list, const char* expected) {
  list.def("__len__", [](const List& self) { return self.size(); });
  list.def("__iter__", [](const List& self) {
    py::list items;
    for (const auto& item : self.items()) items.append(expose(item));
    return py::iter(items);
  });
  list.def("__getitem__", [](const List& self, py::ssize_t index) {
    return self.items()[checked_index(index, self.size())];
  });
  list.def(
      "add",
      [expected](List& self, const py::object& element) {
        foundation::assert_that(py::isinstance<Element>(element), expected);
        self.add(element.cast<Ref<Element>>());
      },
      py::arg("element"), "Appends an element. Errors: AssertionError for any other object.");
  list.def(
      "pop",
      [](List& self, py::ssize_t index) { return self.pop(checked_index(index, self.size())); },
      py::arg("index"),
      "Removes the element at that position and returns it.\n"
      "Errors: IndexError outside of the list.");
}

template <class List, class Element>
void bind_text_list(py::handle scope, const char* name, const char* doc, const char* expected,
                    const char* values) {
  auto list = define<List, Input>(scope, name, doc);
  define_init(
      list,
      [expected](const py::object& attr, const py::object& items, const py::object& help_text) {
        return new List(input_texts(attr, py::str(), help_text),
                        asserted_elements<Element>(items, expected));
      },
      py::arg("attr_name"), py::arg("items") = py::tuple(), py::arg("help_text") = "",
      "items: any iterable of elements. Errors: AssertionError for any other object in it.");
  bind_list_operations<List, Element>(list, expected);
  list.def_property_readonly("values", &List::values, values);
  if constexpr (std::same_as<List, TextInputList>) list.def("__str__", &List::description);
}

void bind_slice_list(py::handle scope) {
  constexpr const char* kExpected = "the list takes elements of class `Parameters.IntSlice` only";
  auto list = define<IntSliceList, Input>(
      scope, "IntSliceList", "Slices with the bounds, steps and units of one default slice.");
  using Spec = IntSliceList::InputSpec;
  auto spec = py::class_<Spec>(list, "_InputSpec", "What is laid over one range of every slice.");
  refuse_unmade(spec);
  spec.def(py::init([](const IntRange& range) { return range.spec(); }), py::arg("input"),
           "Taken from a `Parameters.IntRange`.");
  spec.def_readonly("minimum", &Spec::minimum, "The smallest value that is offered.");
  spec.def_readonly("maximum", &Spec::maximum, "The greatest value that is offered.");
  spec.def_readonly("step", &Spec::step, "The distance of offered values.");
  spec.def_readonly("prefix", &Spec::prefix, "Shown before the number.");
  spec.def_readonly("units", &Spec::units, "Shown after the number.");
  define_init(
      list,
      [](const py::object& attr, const py::object& initial, const py::object& items,
         const py::object& help_text) {
        foundation::assert_that(py::isinstance<IntSlice>(initial),
                                "the default of the list must be a `Parameters.IntSlice`");
        return new IntSliceList(input_texts(attr, py::str(), help_text),
                                initial.cast<Ref<IntSlice>>(),
                                asserted_elements<IntSlice>(items, kExpected));
      },
      py::arg("attr_name"), py::arg("default"), py::arg("items") = py::tuple(),
      py::arg("help_text") = "",
      "default: the slice whose ranges specify every element, and whose values loaded elements "
      "start with.\nErrors: AssertionError for objects of another class.");
  bind_list_operations<IntSliceList, IntSlice>(list, kExpected);
  list.def("_apply_spec", &IntSliceList::adapt, py::arg("element"),
           "Gives both ranges of an element the bounds of the list; values stay.");
}

}  // namespace

void bind_list_inputs(py::handle scope) {
  bind_list_elements(scope);
  bind_text_list<TextInputList, TextInput>(
      scope, "TextInputList", "Texts that can be switched off; stored as an array.",
      "the list takes elements of class `Parameters.TextInput` only",
      "The texts of the enabled elements.");
  bind_text_list<TextMatchList, TextMatch>(
      scope, "TextMatchList", "Texts to match; stored as an array.",
      "the list takes elements of class `Parameters.TextMatch` only", "The texts of all elements.");
  bind_slice_list(scope);
}

}  // namespace kavel::host
