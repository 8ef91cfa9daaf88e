// Live lists: the interpreter's view of `runtime::List`, with the whole list protocol, written
// once for every element type.
#pragma once

#include "core/runtime/list.h"
#include "host/py.h"

namespace kavel::host {

/// Position for an index that may count from the end; throws an index error outside the list.
[[nodiscard]] std::size_t checked_index(py::ssize_t index, std::size_t size);
/// Positions that a slice selects, in its order.
[[nodiscard]] std::vector<std::size_t> slice_positions(const py::slice& slice, std::size_t size);
/// Gives the class the operations that the interpreter's own mutable sequences derive from the
/// basic ones, and registers it as one of them.
void add_sequence_mixins(py::handle list_class);

namespace detail {

template <class T>
py::list snapshot(const runtime::List<T>& self) {
  py::list copy;
  const std::vector<T> items = self.items;
  for (const T& item : items) copy.append(py::cast(item));
  return copy;
}

template <class T>
T element(py::handle object) {
  if constexpr (!std::same_as<T, Value>) {
    if (object.is_none()) throw py::type_error("none is no element of this list");
  }
  try {
    return object.cast<T>();
  } catch (const py::cast_error&) {
    throw py::type_error("an element of class " + from_text(py::type::of(object).attr("__name__")) +
                         " does not belong into this list");
  }
}

template <class T>
std::vector<T> elements(py::handle iterable) {
  std::vector<T> items;
  for (const py::handle item : py::iter(iterable)) items.push_back(element<T>(item));
  return items;
}

template <class T>
void bind_access(py::class_<runtime::List<T>>& list) {
  using List = runtime::List<T>;
  list.def("__len__", [](const List& self) { return self.items.size(); });
  list.def("__getitem__", [](const List& self, py::ssize_t index) {
    return py::cast(self.items[checked_index(index, self.items.size())]);
  });
  list.def("__getitem__", [](const List& self, const py::slice& slice) {
    py::list part;
    const std::vector<T> items = self.items;
    for (const std::size_t position : slice_positions(slice, items.size())) {
      part.append(py::cast(items[position]));
    }
    return part;
  });
  list.def("__eq__", [](const List& self, const py::object& other) -> py::object {
    if (!py::isinstance<py::list>(other) && !py::isinstance<List>(other)) {
      return py::reinterpret_borrow<py::object>(Py_NotImplemented);
    }
    return py::bool_(snapshot(self).equal(py::list(other)));
  });
  list.attr("__hash__") = py::none();
  list.def("__repr__", [](const List& self) { return py::repr(snapshot(self)); });
  list.def("copy", &snapshot<T>, "A plain list of the elements.");
}

template <class T>
void bind_changes(py::class_<runtime::List<T>>& list) {
  using List = runtime::List<T>;
  list.def("__setitem__", [](List& self, py::ssize_t index, const py::object& item) {
    T replacement = element<T>(item);
    std::swap(self.items[checked_index(index, self.items.size())], replacement);
  });
  list.def("__setitem__", [](List& self, const py::slice& slice, const py::object& items) {
    py::list copy = snapshot(self);
    copy.attr("__setitem__")(slice, elements<T>(items).empty() ? py::list() : py::list(items));
    std::vector<T> replacement = elements<T>(copy);
    std::swap(self.items, replacement);
  });
  list.def("__delitem__", [](List& self, py::ssize_t index) {
    const auto position = static_cast<py::ssize_t>(checked_index(index, self.items.size()));
    [[maybe_unused]] const T removed = self.items[static_cast<std::size_t>(position)];
    self.items.erase(self.items.begin() + position);
  });
  list.def("__delitem__", [](List& self, const py::slice& slice) {
    py::list copy = snapshot(self);
    copy.attr("__delitem__")(slice);
    std::vector<T> replacement = elements<T>(copy);
    std::swap(self.items, replacement);
  });
  list.def(
      "insert",
      [](List& self, py::ssize_t index, const py::object& item) {
        const auto size = static_cast<py::ssize_t>(self.items.size());
        if (index < 0) index += size;
        index = std::min(std::max<py::ssize_t>(index, 0), size);
        self.items.insert(self.items.begin() + index, element<T>(item));
      },
      py::arg("index"), py::arg("item"), "Inserts `item` before position `index`.");
  list.def(
      "clear",
      [](List& self) {
        std::vector<T> removed;
        std::swap(self.items, removed);
      },
      "Removes every element; the list object stays the same.");
  list.def(
      "sort",
      [](List& self, const py::kwargs& keywords) {
        py::list copy = snapshot(self);
        copy.attr("sort")(**keywords);
        std::vector<T> replacement = elements<T>(copy);
        std::swap(self.items, replacement);
      },
      "Sorts in place, stable; takes `key` and `reverse`.");
}

}  // namespace detail

/// Defines the class of live lists of `T` under `name`.
template <class T>
py::class_<runtime::List<T>> bind_list(py::handle scope, const char* name, const char* doc) {
  auto list = define<runtime::List<T>>(scope, name, doc);
  detail::bind_access<T>(list);
  detail::bind_changes<T>(list);
  add_sequence_mixins(list);
  return list;
}

}  // namespace kavel::host
