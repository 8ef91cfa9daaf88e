// Live lists: the interpreter's view of `runtime::List`, with the whole list protocol, written
// once for every element type.
#pragma once

#include <array>

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

/// Iterates over a live list by position, as the interpreter's own list iterators do: what is added
/// meanwhile is met, and nothing that happens to the list is an error.
class ListIterator final : public Object {
 public:
  /// The element at a position; a null object behind the last one.
  using At = py::object (*)(const Object& list, std::size_t position);

  ListIterator(Value list, At at) : list_(std::move(list)), at_(at) {}
  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(list_); }
  void drop_references() noexcept override { list_ = Value(); }
  /// The next element; a null object at the end and ever after.
  [[nodiscard]] py::object next();

 private:
  Value list_;
  At at_;
  std::size_t position_ = 0;
};
void bind_list_iterator(py::module_& module);

namespace detail {

inline constexpr std::array<std::pair<const char*, int>, 5> kComparisons{{{"__eq__", Py_EQ},
                                                                          {"__lt__", Py_LT},
                                                                          {"__le__", Py_LE},
                                                                          {"__gt__", Py_GT},
                                                                          {"__ge__", Py_GE}}};

template <class T>
py::list snapshot(const runtime::List<T>& self) {
  py::list copy;
  const std::vector<T> items = self.items;
  for (const T& item : items) copy.append(py::cast(item));
  return copy;
}

/// Takes a copy: making a face may run foreign code that changes the list.
template <class T>
py::object item_face(T item) {
  return py::cast(item);
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
    return item_face(self.items[checked_index(index, self.items.size())]);
  });
  list.def("__getitem__", [](const List& self, const py::slice& slice) {
    py::list part;
    const std::vector<T> items = self.items;
    for (const std::size_t position : slice_positions(slice, items.size())) {
      part.append(py::cast(items[position]));
    }
    return part;
  });
  list.attr("__hash__") = py::none();
  list.def("__repr__", [](const List& self) { return py::repr(snapshot(self)); });
  list.def("copy", &snapshot<T>, "A plain list of the elements.");
  list.def("__iter__", [](const py::object& self) {
    const ListIterator::At at = [](const Object& object, std::size_t position) -> py::object {
      const auto& items = static_cast<const List&>(object).items;
      return position < items.size() ? item_face(items[position]) : py::object();
    };
    return runtime::make<ListIterator>(to_value(self), at);
  });
}

/// A list, or a live one of these elements, as a plain list; a null object for anything else.
template <class T>
py::object plain_list(const py::object& other) {
  if (py::isinstance<py::list>(other)) return other;
  if (!py::isinstance<runtime::List<T>>(other)) return {};
  return snapshot(other.cast<const runtime::List<T>&>());
}

inline py::object not_implemented() {
  return py::reinterpret_borrow<py::object>(Py_NotImplemented);
}

/// Sums and products are plain lists.
template <class T>
void bind_operators(py::class_<runtime::List<T>>& list) {
  using List = runtime::List<T>;
  for (const auto& [name, operation] : kComparisons) {
    list.def(name, [operation = operation](const List& self, const py::object& other) {
      const py::object right = plain_list<T>(other);
      if (!right) return not_implemented();
      PyObject* result = PyObject_RichCompare(snapshot(self).ptr(), right.ptr(), operation);
      if (result == nullptr) throw py::error_already_set();
      return py::reinterpret_steal<py::object>(result);
    });
  }
  list.def("__add__", [](const List& self, const py::object& other) {
    const py::object right = plain_list<T>(other);
    return right ? py::object(snapshot(self) + right) : not_implemented();
  });
  list.def("__radd__", [](const List& self, const py::object& other) {
    const py::object left = plain_list<T>(other);
    return left ? py::object(left + snapshot(self)) : not_implemented();
  });
  for (const char* name : {"__mul__", "__rmul__"}) {
    list.def(name,
             [](const List& self, const py::object& count) { return snapshot(self) * count; });
  }
  list.def("__imul__", [](const py::object& self, const py::object& count) {
    auto& changed = self.cast<List&>();
    std::vector<T> repeated = elements<T>(snapshot(changed) * count);
    std::swap(changed.items, repeated);
    return self;
  });
}

template <class T>
void bind_changes(py::class_<runtime::List<T>>& list) {
  using List = runtime::List<T>;
  list.def("__setitem__", [](List& self, py::ssize_t index, const py::object& item) {
    T replacement = element<T>(item);
    std::swap(self.items[checked_index(index, self.items.size())], replacement);
  });
  list.def("__setitem__", [](List& self, const py::slice& slice, const py::object& items) {
    // Read once: an iterator gives its elements only the first time.
    const py::list given(items);
    py::list copy = snapshot(self);
    copy.attr("__setitem__")(slice, given);
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
      "append", [](List& self, const py::object& item) { self.items.push_back(element<T>(item)); },
      py::arg("item"), "Adds `item` at the end.");
  list.def(
      "extend",
      [](List& self, const py::object& items) {
        const std::vector<T> added = elements<T>(items);
        self.items.insert(self.items.end(), added.begin(), added.end());
      },
      py::arg("items"), "Adds the elements of an iterable at the end; all of them or none.");
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
  detail::bind_operators<T>(list);
  detail::bind_changes<T>(list);
  add_sequence_mixins(list);
  return list;
}

}  // namespace kavel::host
