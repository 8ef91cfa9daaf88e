#include "host/py.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

class CompiledExpression final : public runtime::Expression {
 public:
  explicit CompiledExpression(const py::object& pattern)
      : match_(to_value(pattern.attr("match"))), remove_(to_value(pattern.attr("sub"))) {}

  [[nodiscard]] bool match(std::string_view text) const override {
    const py::str subject = to_text(text);
    PyObject* const result =
        PyObject_CallOneArg(static_cast<PyObject*>(match_.get()), subject.ptr());
    if (result == nullptr) throw py::error_already_set();
    const bool matched = result != Py_None;
    Py_DECREF(result);
    return matched;
  }

  [[nodiscard]] std::string remove(std::string_view text) const override {
    return from_text(from_value(remove_)(py::str(""), to_text(text)));
  }

 private:
  Value match_;
  Value remove_;
};

class InterpreterRegex final : public runtime::Regex {
 public:
  std::shared_ptr<const runtime::Expression> compile(const std::string& text) override {
    return std::make_shared<CompiledExpression>(
        py::module_::import("re").attr("compile")(to_text(text)));
  }
};

}  // namespace

runtime::Regex* regex_port() {
  static InterpreterRegex port;
  return &port;
}

}  // namespace kavel::host
