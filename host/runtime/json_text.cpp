#include <unordered_set>

#include "core/foundation/errors.h"
#include "host/py.h"
#include "host/runtime/json_dump.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

/// The plain form of a unified text; null for anything else.
py::object plain_text(py::handle value) {
  const bool unified = is_text(value) && !PyUnicode_CheckExact(value.ptr()) &&
                       py::isinstance(value, py::module_::import("core").attr("_Str"));
  return unified ? py::object(value.attr("decoded")) : py::object();
}

/// `visit(item)` for each value of a map or list; runs nothing of the interpreter itself.
template <class Visit>
void each_value(PyObject* container, Visit visit) {
  if (PyDict_Check(container) != 0) {
    PyObject* value = nullptr;
    for (Py_ssize_t at = 0; PyDict_Next(container, &at, nullptr, &value) != 0;) visit(value);
    return;
  }
  for (Py_ssize_t at = 0; at < PyList_GET_SIZE(container); ++at) {
    visit(PyList_GET_ITEM(container, at));
  }
}

/// Whether it may hold unified texts, which are of a class derived from texts.
bool has_derived_texts(PyObject* container) {
  bool found = false;
  each_value(container, [&found](PyObject* value) {
    found |= PyUnicode_Check(value) != 0 && PyUnicode_CheckExact(value) == 0;
  });
  return found;
}

/// The maps and lists still to be walked; each once, so that data that holds itself ends too.
class Containers {
 public:
  void add(py::handle value) {
    const bool container = PyDict_Check(value.ptr()) != 0 || PyList_Check(value.ptr()) != 0;
    if (!container || !seen_.insert(value.ptr()).second) return;
    left_.push_back(py::reinterpret_borrow<py::object>(value));
  }
  py::object next() {
    if (left_.empty()) return {};
    py::object value = std::move(left_.back());
    left_.pop_back();
    return value;
  }

 private:
  std::unordered_set<PyObject*> seen_;
  std::vector<py::object> left_;
};

void clean_items(const py::object& container, Containers& containers) {
  if (!has_derived_texts(container.ptr())) {
    return each_value(container.ptr(), [&containers](PyObject* value) { containers.add(value); });
  }
  const bool map = PyDict_Check(container.ptr()) != 0;
  // A copy of the places: replacing a value must not disturb the walk.
  const auto places =
      map ? py::list(container)
          : py::list(py::module_::import("builtins").attr("range")(py::len(container)));
  for (const py::handle place : places) {
    const py::object item = container[place];
    if (const py::object plain = plain_text(item)) {
      container[place] = plain;
    } else {
      containers.add(item);
    }
  }
}

class InterpreterJson final : public runtime::JsonText {
 public:
  Value parse(std::string_view text) override {
    const auto json = py::module_::import("json");
    try {
      return to_value(json.attr("loads")(to_text(text)));
    } catch (py::error_already_set& error) {
      if (!error.matches(json.attr("JSONDecodeError"))) throw;
      throw foundation::Error(foundation::ErrorKind::invalid_json,
                              from_text(py::str(error.value())));
    }
  }

  std::string dump(const Value& value, int indent) override {
    const auto json = py::module_::import("json");
    const py::object width = indent > 0 ? py::object(py::int_(indent)) : py::object(py::none());
    return from_text(json.attr("dumps")(from_value(value), py::arg("indent") = width,
                                        py::arg("ensure_ascii") = false));
  }

  Value parse_file(std::string_view content) override {
    const py::object text = py::bytes(content.data(), content.size()).attr("decode")("utf-8-sig");
    return to_value(py::module_::import("json").attr("loads")(text));
  }

  std::string dump_file(const Value& value) override {
    if (auto content = dump_indented(from_value(value))) return *std::move(content);
    const py::object text = py::module_::import("json").attr("dumps")(
        from_value(value), py::arg("indent") = 2, py::arg("ensure_ascii") = false);
    return py::bytes(text.attr("encode")("utf-8", "backslashreplace"));
  }

  Value clean(const Value& value) override {
    if (const py::object plain = plain_text(from_value(value))) return to_value(plain);
    Containers containers;
    containers.add(from_value(value));
    while (const py::object container = containers.next()) clean_items(container, containers);
    return value;
  }

  foundation::Json to_json(const Value& value) override { return host::to_json(from_value(value)); }

  Value from_json(const foundation::Json& json) override { return to_value(host::from_json(json)); }

  void refill(const Value& target, const foundation::Json& content) override {
    // Converted before anything is removed: a failure leaves the map as it was.
    const py::object fresh = host::from_json(content);
    const py::object map = from_value(target);
    map.attr("clear")();
    map.attr("update")(fresh);
  }
};

}  // namespace

runtime::JsonText* json_port() {
  static InterpreterJson port;
  return &port;
}

}  // namespace kavel::host
