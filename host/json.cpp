#include "core/foundation/errors.h"
#include "host/py.h"

namespace kavel::host {
namespace {

/// Depth of nested lists and maps that is converted; deeper data is refused, not a stack overflow.
constexpr int kMaximumDepth = 500;

foundation::Json json_at(py::handle object, int depth);

foundation::Json json_map(py::handle object, int depth) {
  foundation::Json::Map map;
  const auto items = py::reinterpret_borrow<py::dict>(object);
  map.reserve(items.size());
  for (const auto& [key, value] : items) {
    if (!is_text(key)) throw py::type_error("keys of JSON objects must be texts");
    map.emplace_back(from_text(key), json_at(value, depth));
  }
  return map;
}

foundation::Json json_array(py::handle object, int depth) {
  foundation::Json::Array array;
  for (const py::handle item : py::reinterpret_borrow<py::sequence>(object)) {
    array.push_back(json_at(item, depth));
  }
  return array;
}

foundation::Json json_integer(py::handle object) {
  int overflow = 0;
  const long long value = PyLong_AsLongLongAndOverflow(object.ptr(), &overflow);
  if (overflow != 0) return foundation::Json::BigInteger{from_text(py::str(object))};
  return std::int64_t{value};
}

foundation::Json json_at(py::handle object, int depth) {
  if (depth > kMaximumDepth) {
    throw foundation::Error(foundation::ErrorKind::recursion, "JSON data is nested too deeply");
  }
  PyObject* const raw = object.ptr();
  if (raw == Py_None) return {};
  if (PyUnicode_Check(raw) != 0) return from_text(object);
  if (PyBool_Check(raw) != 0) return raw == Py_True;
  if (PyLong_Check(raw) != 0) return json_integer(object);
  if (PyFloat_Check(raw) != 0) return PyFloat_AS_DOUBLE(raw);
  if (PyDict_Check(raw) != 0) return json_map(object, depth + 1);
  if (PyList_Check(raw) != 0 || PyTuple_Check(raw) != 0) return json_array(object, depth + 1);
  throw py::type_error("JSON has no form for an object of class " +
                       from_text(py::type::of(object).attr("__name__")));
}

}  // namespace

foundation::Json to_json(py::handle object) { return json_at(object, 0); }

py::object from_json(const foundation::Json& json) {
  if (const auto* text = json.text()) return to_text(*text);
  if (const auto* value = json.boolean()) return py::bool_(*value);
  if (const auto* value = json.integer()) return py::int_(*value);
  if (const auto* value = json.real()) return py::float_(*value);
  if (const auto* value = json.big_integer()) return py::int_(to_text(value->digits));
  if (const auto* array = json.array()) {
    py::list list;
    for (const foundation::Json& item : *array) list.append(from_json(item));
    return list;
  }
  if (const auto* map = json.map()) {
    py::dict dictionary;
    for (const auto& [key, value] : *map) dictionary[to_text(key)] = from_json(value);
    return dictionary;
  }
  return py::none();
}

}  // namespace kavel::host
