#include "host/runtime/json_dump.h"

#include <array>
#include <charconv>

#include "core/foundation/json_writer.h"

namespace kavel::host {
namespace {

using foundation::append_json;

/// Deeper data is left to the interpreter, which knows its own limit.
constexpr std::size_t kMaximumDepth = 200;

class Dump {
 public:
  /// False when the interpreter has to do it.
  bool write(PyObject* object) {
    if (object == Py_None) return put("null");
    if (object == Py_True) return put("true");
    if (object == Py_False) return put("false");
    if (PyUnicode_Check(object) != 0) return write_text(object);
    if (PyLong_Check(object) != 0) return write_integer(object);
    if (PyFloat_Check(object) != 0) return write_real(PyFloat_AS_DOUBLE(object));
    // A derived container may answer in its own way.
    if (PyDict_CheckExact(object) != 0) return write_map(object);
    if (PyList_CheckExact(object) != 0 || PyTuple_CheckExact(object) != 0) {
      return write_array(object);
    }
    return false;
  }

  std::string output;

 private:
  bool put(std::string_view text) {
    output += text;
    return true;
  }

  bool write_text(PyObject* object) {
    if (PyUnicode_IS_COMPACT_ASCII(object)) {
      const auto size = static_cast<std::size_t>(PyUnicode_GET_LENGTH(object));
      append_json(output, {static_cast<const char*>(PyUnicode_DATA(object)), size});
    } else {
      append_json(output, from_text(object));
    }
    return true;
  }

  bool write_integer(PyObject* object) {
    int overflow = 0;
    const long long value = PyLong_AsLongLongAndOverflow(object, &overflow);
    if (overflow != 0) return false;
    std::array<char, 24> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return put({digits.data(), static_cast<std::size_t>(end - digits.data())});
  }

  bool write_real(double value) {
    append_json(output, value);
    return true;
  }

  /// Ends a line with `separator`; nothing for a zero character.
  void begin_line(char separator) {
    static const std::string kBreak = ",\n" + std::string(2 * kMaximumDepth, ' ');
    if (separator == ',') {
      output.append(kBreak, 0, 2 + 2 * depth_);
      return;
    }
    if (separator != '\0') output += separator;
    output.append(kBreak, 1, 1 + 2 * depth_);
  }

  bool write_map(PyObject* map) {
    if (PyDict_GET_SIZE(map) == 0) return put("{}");
    if (++depth_ > kMaximumDepth) return false;
    char separator = '{';
    PyObject* key = nullptr;
    PyObject* value = nullptr;
    for (Py_ssize_t position = 0; PyDict_Next(map, &position, &key, &value) != 0;) {
      begin_line(separator);
      separator = ',';
      if (PyUnicode_Check(key) == 0 || !write_text(key)) return false;
      output += ": ";
      if (!write(value)) return false;
    }
    return end('}');
  }

  bool write_array(PyObject* array) {
    const Py_ssize_t size = PySequence_Fast_GET_SIZE(array);
    if (size == 0) return put("[]");
    if (++depth_ > kMaximumDepth) return false;
    for (Py_ssize_t index = 0; index < size; ++index) {
      begin_line(index == 0 ? '[' : ',');
      if (!write(PySequence_Fast_GET_ITEM(array, index))) return false;
    }
    return end(']');
  }

  bool end(char bracket) {
    --depth_;
    begin_line('\0');
    output += bracket;
    return true;
  }

  std::size_t depth_ = 0;
};

}  // namespace

std::optional<std::string> dump_indented(py::handle object) {
  Dump dump;
  if (!dump.write(object.ptr())) return std::nullopt;
  return std::move(dump.output);
}

}  // namespace kavel::host
