#include "core/checks/list_input.h"
#include "host/checks/inputs.h"

namespace kavel::host {
namespace {

using checks::IntRange;
using checks::IntSlice;
using checks::TextInput;
using checks::TextMatch;

/// What every element can do.
template <class Element>
void bind_element(py::class_<Element>& element) {
  element.def_property_readonly("data", &Element::data, "The element in its stored form.");
  element.def("load", &Element::load, py::arg("data"),
              "Takes a stored form over.\nErrors: TypeError for a value of another type.");
  element.def("clone", &Element::clone, "A copy.");
}

void bind_text_elements(py::handle scope) {
  auto input = define<TextInput>(scope, "TextInput", "A text that counts while it is enabled.");
  define_init(
      input,
      [](const py::object& text, const py::object& enabled) {
        return new TextInput(plain_argument(text), plain_argument(enabled));
      },
      py::arg("text") = "", py::arg("enabled") = false,
      "Errors: AssertionError for a `text` that is none, an `enabled` that is no Boolean.");
  input.def_property("text", &TextInput::text, &TextInput::set_text, "The text.");
  input.def_property("enabled", &TextInput::is_enabled, &TextInput::set_enabled,
                     "Whether it counts.");
  input.def("__str__", &TextInput::description);
  bind_element(input);

  auto match = define<TextMatch>(scope, "TextMatch", "A text to match.");
  define_init(
      match, [](const py::object& text) { return new TextMatch(plain_argument(text)); },
      py::arg("text") = "", "Errors: AssertionError for a `text` that is none.");
  match.def_property("text", &TextMatch::text, &TextMatch::set_text, "The text.");
  bind_element(match);
}

void bind_slice(py::handle scope) {
  auto slice =
      define<IntSlice>(scope, "IntSlice", "Where a slice of whole numbers starts and stops.");
  define_init(
      slice,
      [](const py::object& start, const py::object& stop) {
        const auto range = [](const py::object& object) {
          foundation::assert_that(py::isinstance<IntRange>(object),
                                  "a slice is made of two `Parameters.IntRange`");
          (void)to_input(object);
          return object.cast<Ref<IntRange>>();
        };
        return new IntSlice(range(start), range(stop));
      },
      py::arg("start"), py::arg("stop"),
      "Two `Parameters.IntRange`, taken as they are. Errors: AssertionError for anything else.");
  slice.def_readonly("start", &IntSlice::start, "The first range.");
  slice.def_readonly("stop", &IntSlice::stop, "The second range.");
  bind_element(slice);
}

}  // namespace

void bind_list_elements(py::handle scope) {
  bind_text_elements(scope);
  bind_slice(scope);
}

}  // namespace kavel::host
