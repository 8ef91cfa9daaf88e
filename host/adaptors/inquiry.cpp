#include "host/adaptors/inquiry.h"

namespace kavel::host {

py::object HostInquiry::call(const OperationName& name, const Value& path) const {
  return call_operation(static_cast<PyObject*>(object_.get()), name, {raw(path)});
}

std::string_view HostInquiry::text_answer(const OperationName& name, const Value& path,
                                          py::object& kept) {
  kept = call(name, path);
  if (kept.is_none()) return {};
  if (!is_text(kept)) refuse_result(name, kept, "a text");
  return texts_.view(kept.ptr());
}

void HostInquiry::children_answer(const Value& path) {
  const py::object answer = call(children_, path);
  if (answer.is_none()) return;
  if (is_text(answer)) refuse_result(children_, answer, "a sequence of texts");
  const auto sequence = py::reinterpret_steal<py::object>(
      PySequence_Fast(answer.ptr(), "get_children() must return a sequence of texts"));
  if (!sequence) throw py::error_already_set();
  const auto count = static_cast<std::size_t>(PySequence_Fast_GET_SIZE(sequence.ptr()));
  PyObject* const* items = PySequence_Fast_ITEMS(sequence.ptr());
  facts_.children.reserve(count);
  for (std::size_t index = 0; index < count; ++index) {
    if (!is_text(items[index])) refuse_result(children_, items[index], "a sequence of texts");
    facts_.children.push_back({texts_.view(items[index]), Value::borrow(items[index])});
  }
}

scene::Facts& HostInquiry::ask(const Value& path) {
  texts_.clear();
  facts_.children.clear();
  facts_.exists = truth_of(call(exists_, path));
  if (facts_.exists) {
    facts_.name = text_answer(name_, path, kept_name_);
    facts_.type = text_answer(type_, path, kept_type_);
    facts_.parent = text_answer(parent_, path, kept_parent_);
    children_answer(path);
  }
  return facts_;
}

}  // namespace kavel::host
