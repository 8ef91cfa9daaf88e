#include "host/py.h"

namespace kavel::host {

py::str to_text(std::string_view text) {
  PyObject* made =
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogatepass");
  if (made == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(made);
}

std::string from_text(py::handle text) {
  if (!is_text(text)) throw py::type_error("a text is expected");
  Py_ssize_t size = 0;
  if (const char* data = PyUnicode_AsUTF8AndSize(text.ptr(), &size)) {
    return {data, static_cast<std::size_t>(size)};
  }
  PyErr_Clear();
  const auto bytes = py::reinterpret_steal<py::bytes>(
      PyUnicode_AsEncodedString(text.ptr(), "utf-8", "surrogatepass"));
  if (!bytes) throw py::error_already_set();
  return {PyBytes_AS_STRING(bytes.ptr()), static_cast<std::size_t>(PyBytes_GET_SIZE(bytes.ptr()))};
}

std::vector<std::string> texts(py::handle iterable) {
  std::vector<std::string> result;
  for (const py::handle item : py::iter(iterable)) result.push_back(from_text(item));
  return result;
}

std::vector<Value> values(py::handle iterable) {
  std::vector<Value> result;
  for (const py::handle item : py::iter(iterable)) result.push_back(to_value(item));
  return result;
}

}  // namespace kavel::host
