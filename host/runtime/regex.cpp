#include "host/py.h"
#include "host/runtime/ending.h"
#include "host/runtime/regex_tree.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

class CompiledExpression final : public runtime::Expression {
 public:
  explicit CompiledExpression(const py::object& pattern)
      : match_(to_value(pattern.attr("match"))), search_(to_value(pattern.attr("search"))) {}

  [[nodiscard]] bool match(std::string_view text) const override {
    return !ask(match_, to_text(text)).is_none();
  }

  [[nodiscard]] std::optional<std::string> find(std::string_view text) const override {
    const py::object found = ask(search_, to_text(text));
    if (found.is_none()) return std::nullopt;
    return from_text(found.attr("group")());
  }

  [[nodiscard]] std::string remove_start(std::string_view text) const override {
    return without(match_, text, 0);
  }
  [[nodiscard]] std::string remove_first(std::string_view text) const override {
    return without(search_, text, 0);
  }
  [[nodiscard]] std::string remove_group(std::string_view text, const char* group) const override {
    return without(match_, text, group);
  }

 private:
  static py::object ask(const Value& operation, const py::str& subject) {
    PyObject* const found =
        PyObject_CallOneArg(static_cast<PyObject*>(operation.get()), subject.ptr());
    if (found == nullptr) throw py::error_already_set();
    leave_when_ending();
    return py::reinterpret_steal<py::object>(found);
  }

  template <class Group>
  static std::string without(const Value& operation, std::string_view text, Group group) {
    const py::str subject = to_text(text);
    const py::object found = ask(operation, subject);
    if (found.is_none()) return std::string(text);
    const py::object head = subject[py::slice(py::none(), found.attr("start")(group), py::none())];
    const py::object tail = subject[py::slice(found.attr("end")(group), py::none(), py::none())];
    return from_text(head) + from_text(tail);
  }

  Value match_;
  Value search_;
};

class InterpreterRegex final : public runtime::Regex {
 public:
  std::shared_ptr<const runtime::Expression> compile(const std::string& text) override {
    return std::make_shared<CompiledExpression>(
        py::module_::import("re").attr("compile")(to_text(text)));
  }
  std::optional<runtime::RegexNode> parse(const std::string& text) override {
    return read_regex(text);
  }
  std::string escape(const std::string& text) override {
    return from_text(py::module_::import("re").attr("escape")(to_text(text)));
  }
};

}  // namespace

runtime::Regex* regex_port() {
  static InterpreterRegex port;
  return &port;
}

}  // namespace kavel::host
