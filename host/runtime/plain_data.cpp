#include "core/runtime/plain_data.h"

#include "host/py.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

PyObject* raw(const Value& value) { return static_cast<PyObject*>(value.get()); }

Value made(PyObject* object) {
  if (object == nullptr) throw py::error_already_set();
  return Value::steal(object);
}

void checked(int result) {
  if (result < 0) throw py::error_already_set();
}

class InterpreterData final : public runtime::PlainData {
 public:
  std::optional<std::vector<Value>> elements(const Value& value) override {
    PyObject* const list = raw(value);
    if (PyList_Check(list) == 0 && PyTuple_Check(list) == 0) return std::nullopt;
    std::vector<Value> items;
    const Py_ssize_t size = PySequence_Fast_GET_SIZE(list);
    items.reserve(static_cast<std::size_t>(size));
    for (Py_ssize_t index = 0; index < size; ++index) {
      items.push_back(Value::borrow(PySequence_Fast_GET_ITEM(list, index)));
    }
    return items;
  }

  bool is_map(const Value& value) override { return PyDict_Check(raw(value)) != 0; }

  std::size_t map_size(const Value& map) override {
    return static_cast<std::size_t>(PyDict_GET_SIZE(raw(map)));
  }

  Value entry(const Value& map, const Value& key) override {
    PyObject* const found = PyDict_GetItemWithError(raw(map), raw(key));
    if (found == nullptr && PyErr_Occurred() != nullptr) throw py::error_already_set();
    return Value::borrow(found);
  }

  std::vector<std::pair<Value, Value>> entries(const Value& map) override {
    std::vector<std::pair<Value, Value>> items;
    PyObject* key = nullptr;
    PyObject* value = nullptr;
    for (Py_ssize_t place = 0; PyDict_Next(raw(map), &place, &key, &value) != 0;) {
      items.emplace_back(Value::borrow(key), Value::borrow(value));
    }
    return items;
  }

  std::optional<std::string> text(const Value& value) override {
    if (!value || !is_text(raw(value))) return std::nullopt;
    return from_text(raw(value));
  }

  std::optional<bool> boolean(const Value& value) override {
    if (!value || PyBool_Check(raw(value)) == 0) return std::nullopt;
    return raw(value) == Py_True;
  }

  std::optional<double> real(const Value& value) override {
    if (!value || PyFloat_Check(raw(value)) == 0) return std::nullopt;
    return PyFloat_AS_DOUBLE(raw(value));
  }

  Value make_text(std::string_view text) override { return made(to_text(text).release().ptr()); }
  Value make_optional_text(const std::optional<std::string>& text) override {
    return text ? make_text(std::string_view(*text)) : Value::borrow(Py_None);
  }
  Value make_boolean(bool value) override { return Value::borrow(value ? Py_True : Py_False); }
  Value make_list() override { return made(PyList_New(0)); }
  Value make_map() override { return made(PyDict_New()); }
  Value copy_map(const Value& map) override { return made(PyDict_Copy(raw(map))); }
  void append(const Value& list, const Value& item) override {
    checked(PyList_Append(raw(list), raw(item)));
  }
  void set(const Value& map, const Value& key, const Value& value) override {
    checked(PyDict_SetItem(raw(map), raw(key), raw(value)));
  }
};

}  // namespace

runtime::PlainData* data_port() {
  static InterpreterData port;
  return &port;
}

}  // namespace kavel::host
