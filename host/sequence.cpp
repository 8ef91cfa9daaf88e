#include "host/sequence.h"

namespace kavel::host {

std::size_t checked_index(py::ssize_t index, std::size_t size) {
  if (index < 0) index += static_cast<py::ssize_t>(size);
  if (index < 0 || index >= static_cast<py::ssize_t>(size)) {
    throw py::index_error("list index out of range");
  }
  return static_cast<std::size_t>(index);
}

std::vector<std::size_t> slice_positions(const py::slice& slice, std::size_t size) {
  py::ssize_t start = 0;
  py::ssize_t stop = 0;
  py::ssize_t step = 0;
  py::ssize_t length = 0;
  if (!slice.compute(static_cast<py::ssize_t>(size), &start, &stop, &step, &length)) {
    throw py::error_already_set();
  }
  std::vector<std::size_t> positions;
  for (; length > 0; --length, start += step) positions.push_back(static_cast<std::size_t>(start));
  return positions;
}

void add_sequence_mixins(py::handle list_class) {
  const py::object mixin = py::module_::import("collections.abc").attr("MutableSequence");
  for (const char* name : {"append", "extend", "pop", "remove", "reverse", "__iadd__", "index",
                           "count", "__contains__", "__iter__", "__reversed__"}) {
    list_class.attr(name) = mixin.attr(name);
  }
  mixin.attr("register")(list_class);
}

}  // namespace kavel::host
