// Calls of a host object's operations by interned names, without argument tuples, and readings of
// what they return.
#pragma once

#include <deque>
#include <functional>
#include <initializer_list>

#include "host/py.h"

namespace kavel::host {

/// The name of an operation as the interpreter's interned text.
class OperationName {
 public:
  explicit OperationName(const char* name);
  [[nodiscard]] PyObject* get() const noexcept { return static_cast<PyObject*>(name_.get()); }

 private:
  Value name_;
};

/// `object.name(*arguments)`; throws what the operation raises.
[[nodiscard]] py::object call_operation(py::handle object, const OperationName& name,
                                        std::initializer_list<py::handle> arguments = {});

/// Throws a type error that names the operation and the class of what it returned.
[[noreturn]] void refuse_result(const OperationName& name, py::handle result, const char* expected);
[[nodiscard]] bool truth_of(py::handle result);
/// The result as a text; nothing for none and for an empty text.
[[nodiscard]] std::optional<std::string> optional_text_of(const OperationName& name,
                                                          py::handle result);
/// The result as texts, from any iterable but a text; empty for none.
[[nodiscard]] std::vector<std::string> texts_of(const OperationName& name, py::handle result);

/// Runs `body` as the interpreter's `with` statement would: an error of the body is shown to the
/// manager, and leaves unless the manager takes it.
void with(const py::object& manager, const std::function<void()>& body);

/// The bytes of texts without a copy where the interpreter keeps them as UTF-8; the rest is kept
/// here until `clear`.
class TextViews {
 public:
  [[nodiscard]] std::string_view view(PyObject* text);
  void clear() noexcept {
    if (!converted_.empty()) converted_.clear();
  }

 private:
  std::deque<std::string> converted_;
};

}  // namespace kavel::host
