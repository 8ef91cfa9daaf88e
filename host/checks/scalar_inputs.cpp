#include "core/checks/scalar_input.h"
#include "host/checks/inputs.h"

namespace kavel::host {
namespace {

using checks::FloatRange;
using checks::IntRange;
using checks::RegEx;
using checks::Switch;

/// One changeable number of a range's description.
template <class Range, class Number>
void bind_number(py::class_<Range, Input>& range, const char* name, Number Range::Spec::*member,
                 const char* doc) {
  range.def_property(
      name, [member](const Range& self) { return self.spec().*member; },
      [member](Range& self, Number value) {
        auto spec = self.spec();
        spec.*member = value;
        self.set_spec(std::move(spec));
      },
      doc);
}

template <class Range>
void bind_range(py::class_<Range, Input>& range) {
  bind_number(range, "minimum", &Range::Spec::minimum, "The smallest value that is offered.");
  bind_number(range, "maximum", &Range::Spec::maximum, "The greatest value that is offered.");
  bind_number(range, "step", &Range::Spec::step, "The distance of offered values.");
  range.def_property("value", &Range::value, &Range::set_value,
                     "The value; it is not forced into the range.");
  range.def_property_readonly(
      "prefix", [](const Range& self) { return self.spec().prefix; }, "Shown before the number.");
  range.def_property_readonly(
      "units", [](const Range& self) { return self.spec().units; }, "Shown after the number.");
}

void bind_int_range(py::handle scope) {
  auto range =
      define<IntRange, Input>(scope, "IntRange", "A whole number; stored as {\"value\": number}.");
  define_init(
      range,
      [](const py::object& attr, const py::object& minimum, const py::object& maximum,
         const py::object& step, const py::object& value, const py::object& prefix,
         const py::object& units, const py::object& label, const py::object& help_text) {
        return new IntRange(input_texts(attr, label, help_text),
                            {.minimum = plain_argument(minimum),
                             .maximum = plain_argument(maximum),
                             .step = plain_argument(step),
                             .value = plain_argument(value),
                             .prefix = plain_argument(prefix),
                             .units = plain_argument(units)});
      },
      py::arg("attr_name"), py::arg("minimum") = 0, py::arg("maximum") = 100, py::arg("step") = 1,
      py::arg("value") = 50, py::arg("prefix") = "", py::arg("units") = "", py::arg("label") = "",
      py::arg("help_text") = "",
      "Numbers are whole, of at most 64 bits. Errors: AssertionError for any other type.");
  bind_range(range);
}

void bind_float_range(py::handle scope) {
  auto range = define<FloatRange, Input>(scope, "FloatRange",
                                         "A real number; stored as {\"value\": number}.");
  define_init(
      range,
      [](const py::object& attr, const py::object& minimum, const py::object& maximum,
         const py::object& step, const py::object& precision, const py::object& value,
         const py::object& prefix, const py::object& units, const py::object& label,
         const py::object& help_text) {
        return new FloatRange(input_texts(attr, label, help_text),
                              {.minimum = plain_argument(minimum),
                               .maximum = plain_argument(maximum),
                               .step = plain_argument(step),
                               .value = plain_argument(value),
                               .prefix = plain_argument(prefix),
                               .units = plain_argument(units),
                               .precision = plain_argument(precision)});
      },
      py::arg("attr_name"), py::arg("minimum") = 0.0, py::arg("maximum") = 1.0,
      py::arg("step") = 0.05, py::arg("precision") = 2, py::arg("value") = 0.5,
      py::arg("prefix") = "", py::arg("units") = "", py::arg("label") = "",
      py::arg("help_text") = "",
      "precision: digits shown after the point.\nErrors: AssertionError for a number that is "
      "none.");
  bind_range(range);
  bind_number(range, "precision", &FloatRange::Spec::precision, "Digits shown after the point.");
}

void bind_regex(py::handle scope) {
  auto regex = define<RegEx, Input>(
      scope, "RegEx", "A regular expression; equal to another of its text, and to that text.");
  define_init(
      regex,
      [](const py::object& attr, const py::object& text, const py::object& label,
         const py::object& help_text) {
        return new RegEx(input_texts(attr, label, help_text), plain_argument(text));
      },
      py::arg("attr_name"), py::arg("text") = ".+", py::arg("label") = "",
      py::arg("help_text") = "", "Errors: AssertionError for a `text` that is none.");
  regex.def_property("text", &RegEx::expression, &RegEx::set_expression, "The expression.");
  regex.def("__eq__", [](const RegEx& self, const py::object& other) -> py::object {
    if (is_text(other)) return py::bool_(self.expression() == from_text(other));
    if (py::isinstance<RegEx>(other)) {
      return py::bool_(self.expression() == other.cast<const RegEx&>().expression());
    }
    return py::reinterpret_borrow<py::object>(Py_NotImplemented);
  });
  regex.def("__hash__", [](const RegEx& self) { return py::hash(to_text(self.expression())); });
}

void bind_switch(py::handle scope) {
  auto toggle =
      define<Switch, Input>(scope, "Switch", "On or off; stored as {\"enabled\": Boolean}.");
  define_init(
      toggle,
      [](const py::object& attr, const py::object& enabled, const py::object& label,
         const py::object& help_text) {
        return new Switch(input_texts(attr, label, help_text), plain_argument(enabled));
      },
      py::arg("attr_name"), py::arg("enabled") = false, py::arg("label") = "",
      py::arg("help_text") = "", "Errors: AssertionError for an `enabled` that is no Boolean.");
  toggle.def_property("enabled", &Switch::is_enabled, &Switch::set_enabled, "Whether it is on.");
}

}  // namespace

void bind_scalar_inputs(py::handle scope) {
  bind_int_range(scope);
  bind_float_range(scope);
  bind_regex(scope);
  bind_switch(scope);
}

}  // namespace kavel::host
