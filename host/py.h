// The only header that names the binding library: its include, the casters for the core's types,
// and the helpers with which every binding file is written. Used as the precompiled header.
//
// Texts cross as UTF-8 in which a lone surrogate is written as its three bytes, both ways.
#pragma once

#include <pybind11/pybind11.h>

#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/foundation/json.h"
#include "core/runtime/list.h"
#include "core/runtime/object.h"
#include "core/runtime/value.h"

namespace py = pybind11;

namespace kavel::host {

using runtime::Object;
using runtime::Ref;
using runtime::Value;

/// A new text of the interpreter.
[[nodiscard]] py::str to_text(std::string_view text);
/// The bytes of a text; throws a type error for anything else.
[[nodiscard]] std::string from_text(py::handle text);
[[nodiscard]] inline bool is_text(py::handle object) { return PyUnicode_Check(object.ptr()) != 0; }

[[nodiscard]] inline Value to_value(py::handle object) { return Value::borrow(object.ptr()); }
/// The object behind a value; none for an empty one.
[[nodiscard]] inline py::object from_value(const Value& value) {
  if (!value) return py::none();
  return py::reinterpret_borrow<py::object>(static_cast<PyObject*>(value.get()));
}

/// Texts of any iterable; throws a type error for elements that are none.
[[nodiscard]] std::vector<std::string> texts(py::handle iterable);
/// Elements of any iterable as values, a snapshot.
[[nodiscard]] std::vector<Value> values(py::handle iterable);

/// The face of a core object: made the first time, the same object ever after.
[[nodiscard]] py::object expose(const Object* object);
template <class T>
[[nodiscard]] py::object expose(const Ref<T>& reference) {
  return expose(static_cast<const Object*>(reference.get()));
}

/// The core object of a face; null while it is being made.
[[nodiscard]] Object* content(PyObject* face);

/// A reference argument that may be none.
template <class T>
struct OrNone {
  Ref<T> reference;
};

/// Copies between the interpreter's JSON-like objects and the core's form.
[[nodiscard]] foundation::Json to_json(py::handle object);
[[nodiscard]] py::object from_json(const foundation::Json& json);

}  // namespace kavel::host

#include "host/casters.h"

namespace kavel::host {

/// Slots of the collector for classes over core objects (see core/runtime/object.h).
int traverse(PyObject* self, visitproc visit, void* argument);
int clear(PyObject* self);
/// Makes a fresh core object the content of `instance` and `instance` its face.
void adopt(py::detail::value_and_holder& instance, Object* object);

/// Makes a use of an object of `bound` whose constructor did not run a type error; the library
/// would hand out memory that nobody has filled.
void refuse_unmade(py::handle bound);

/// A class over the core type `T`: collected, open to attributes of the host, weakly referable.
template <class T, class... Bases>
[[nodiscard]] py::class_<T, Bases...> define(py::handle scope, const char* name, const char* doc) {
  py::class_<T, Bases...> bound(scope, name, doc, py::dynamic_attr(),
                                py::custom_type_setup([](PyHeapTypeObject* heap) {
                                  heap->ht_type.tp_flags |= Py_TPFLAGS_HAVE_GC;
                                  heap->ht_type.tp_traverse = traverse;
                                  heap->ht_type.tp_clear = clear;
                                }));
  refuse_unmade(bound);
  return bound;
}

namespace detail {

template <class F>
struct Signature : Signature<decltype(&F::operator())> {};
template <class F, class R, class... Arguments>
struct Signature<R (F::*)(Arguments...) const> {
  template <class T, class Class, class... Extra>
  static void define_init(Class& bound, F make, const Extra&... extra) {
    bound.def(
        "__init__",
        [make](py::detail::value_and_holder& instance, Arguments... arguments) {
          adopt(instance, static_cast<T*>(make(std::forward<Arguments>(arguments)...)));
        },
        py::detail::is_new_style_constructor(), extra...);
  }
};

}  // namespace detail

/// Defines the constructor: `make` returns a new `T*` from the arguments.
template <class T, class... Options, class F, class... Extra>
void define_init(py::class_<T, Options...>& bound, F make, const Extra&... extra) {
  detail::Signature<F>::template define_init<T>(bound, make, extra...);
}

}  // namespace kavel::host
