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
  for (const char* name :
       {"pop", "remove", "reverse", "__iadd__", "index", "count", "__contains__", "__reversed__"}) {
    list_class.attr(name) = mixin.attr(name);
  }
  mixin.attr("register")(list_class);
}

py::object ListIterator::next() {
  if (!list_) return {};
  // Kept, since an element may be made, which runs foreign code.
  const Value list = list_;
  py::object item = at_(*content(static_cast<PyObject*>(list.get())), position_);
  if (item) {
    ++position_;
  } else {
    list_ = Value();
  }
  return item;
}

void bind_list_iterator(py::module_& module) {
  auto iterator = define<ListIterator>(module, "_ListIterator", "Iterates over a live list.");
  iterator.def("__iter__", [](const py::object& self) { return self; });
  iterator.def("__next__", [](ListIterator& self) {
    py::object item = self.next();
    if (!item) throw py::stop_iteration();
    return item;
  });
  // Loops go around the dispatch of calls.
  reinterpret_cast<PyTypeObject*>(iterator.ptr())->tp_iternext = [](PyObject* self) -> PyObject* {
    try {
      return static_cast<ListIterator*>(content(self))->next().release().ptr();
    } catch (py::error_already_set& error) {
      error.restore();
    } catch (const std::exception& error) {
      PyErr_SetString(PyExc_RuntimeError, error.what());
    }
    return nullptr;
  };
}

}  // namespace kavel::host
