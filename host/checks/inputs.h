// What the bindings of parameter inputs and their containers share.
#pragma once

#include "core/checks/options.h"
#include "core/checks/parameter_task.h"
#include "host/py.h"

namespace kavel::host {

using checks::Input;
using checks::InputTexts;
using foundation::Json;

/// An argument as JSON; an object that JSON has no form for becomes an empty map, which no
/// argument of an input accepts.
[[nodiscard]] Json plain_argument(py::handle object);
/// A text; assertion failure for anything else.
[[nodiscard]] std::string text_argument(py::handle object, const char* name);
/// The texts of an input; the attribute-name error for a name that is no text, assertion failures
/// for the others.
[[nodiscard]] InputTexts input_texts(py::handle attr, py::handle label, py::handle help_text);

/// The input behind `object`, of whatever class; null for anything else. One of a class that was
/// derived outside of the core answers with that class's operations from then on.
[[nodiscard]] Ref<Input> to_input(py::handle object);
/// The slots of any iterable.
[[nodiscard]] checks::Slots to_slots(py::handle iterable);
[[nodiscard]] py::object from_slot(const checks::Slot& slot);
/// The nodes of any iterable; the parameter-input-type error for an object that is neither an
/// input nor a group.
[[nodiscard]] checks::Nodes to_nodes(py::handle iterable);
[[nodiscard]] py::tuple from_nodes(const checks::Nodes& nodes);
/// The elements of any iterable; assertion failure unless each is a `T`.
template <class T>
[[nodiscard]] std::vector<Ref<T>> asserted_elements(py::handle iterable, const char* expected) {
  std::vector<Ref<T>> result;
  for (const py::handle element : py::iter(iterable)) {
    foundation::assert_that(py::isinstance<T>(element), expected);
    result.push_back(element.cast<Ref<T>>());
  }
  return result;
}

void bind_input_base(py::handle scope);
void bind_scalar_inputs(py::handle scope);
void bind_combo_box(py::handle scope);
void bind_list_elements(py::handle scope);
void bind_list_inputs(py::handle scope);
void bind_options(py::handle scope);
void bind_block(py::handle scope);

}  // namespace kavel::host
