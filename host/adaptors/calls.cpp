#include "host/adaptors/calls.h"

#include <array>

#include "host/errors.h"
#include "host/runtime/ending.h"

namespace kavel::host {
namespace {

constexpr std::size_t kMaximumArguments = 4;

}  // namespace

OperationName::OperationName(const char* name)
    : name_(Value::steal(PyUnicode_InternFromString(name))) {
  if (!name_) throw py::error_already_set();
}

py::object call_operation(py::handle object, const OperationName& name,
                          std::initializer_list<py::handle> arguments) {
  std::array<PyObject*, kMaximumArguments + 1> stack{object.ptr()};
  if (arguments.size() > kMaximumArguments) throw std::length_error("too many arguments");
  std::size_t count = 1;
  for (const py::handle argument : arguments) stack.at(count++) = argument.ptr();
  PyObject* const result = stopped_if_ended([&] {
    return PyObject_VectorcallMethod(name.get(), stack.data(),
                                     count | PY_VECTORCALL_ARGUMENTS_OFFSET, nullptr);
  });
  if (result == nullptr) throw py::error_already_set();
  auto answer = py::reinterpret_steal<py::object>(result);
  leave_when_ending();
  return answer;
}

void with(const py::object& manager, const std::function<void()>& body) {
  const py::object type = py::type::of(manager);
  const py::object leave = type.attr("__exit__");
  type.attr("__enter__")(manager);
  try {
    body();
  } catch (...) {
    const py::object error = exception_object(std::current_exception());
    const py::object taken =
        leave(manager, py::type::of(error), error, py::getattr(error, "__traceback__", py::none()));
    if (truth_of(taken)) return;
    throw;
  }
  leave(manager, py::none(), py::none(), py::none());
}

void refuse_result(const OperationName& name, py::handle result, const char* expected) {
  throw py::type_error(from_text(name.get()) + "() returned an object of class " +
                       from_text(py::type::of(result).attr("__name__")) + ", not " + expected);
}

bool truth_of(py::handle result) {
  const int truth = PyObject_IsTrue(result.ptr());
  if (truth < 0) throw py::error_already_set();
  return truth != 0;
}

std::optional<std::string> optional_text_of(const OperationName& name, py::handle result) {
  if (result.is_none()) return std::nullopt;
  if (!is_text(result)) refuse_result(name, result, "a text");
  std::string text = from_text(result);
  if (text.empty()) return std::nullopt;
  return text;
}

std::vector<std::string> texts_of(const OperationName& name, py::handle result) {
  if (result.is_none()) return {};
  if (is_text(result)) refuse_result(name, result, "a sequence of texts");
  const py::list elements(py::reinterpret_borrow<py::object>(result));
  for (const py::handle element : elements) {
    if (!is_text(element)) refuse_result(name, element, "a sequence of texts");
  }
  return texts(elements);
}

std::string_view TextViews::view(PyObject* text) {
  Py_ssize_t size = 0;
  if (const char* data = PyUnicode_AsUTF8AndSize(text, &size)) {
    return {data, static_cast<std::size_t>(size)};
  }
  PyErr_Clear();
  // A lone surrogate: the interpreter keeps no UTF-8 of such a text.
  return converted_.emplace_back(from_text(text));
}

}  // namespace kavel::host
