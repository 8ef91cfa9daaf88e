// How the core's types cross to the interpreter and back. Included by host/py.h only.
#pragma once

#include "host/py.h"

namespace pybind11::detail {

template <>
struct type_caster<std::string> {
  PYBIND11_TYPE_CASTER(std::string, const_name("str"));
  bool load(handle source, bool /*convert*/) {
    if (!source || PyUnicode_Check(source.ptr()) == 0) return false;
    value = kavel::host::from_text(source);
    return true;
  }
  static handle cast(const std::string& source, return_value_policy, handle) {
    return kavel::host::to_text(source).release();
  }
};

/// The caster keeps the bytes for the time of the call.
template <>
struct type_caster<std::string_view> {
  PYBIND11_TYPE_CASTER(std::string_view, const_name("str"));
  bool load(handle source, bool /*convert*/) {
    if (!source || PyUnicode_Check(source.ptr()) == 0) return false;
    bytes_ = kavel::host::from_text(source);
    value = bytes_;
    return true;
  }
  static handle cast(std::string_view source, return_value_policy, handle) {
    return kavel::host::to_text(source).release();
  }

 private:
  std::string bytes_;
};

/// Any iterable of texts but a text itself; returned as a fresh list.
template <>
struct type_caster<std::vector<std::string>> {
  PYBIND11_TYPE_CASTER(std::vector<std::string>, const_name("List[str]"));
  bool load(handle source, bool /*convert*/) {
    if (!source || PyUnicode_Check(source.ptr()) != 0) return false;
    value = kavel::host::texts(source);
    return true;
  }
  static handle cast(const std::vector<std::string>& source, return_value_policy, handle) {
    list result;
    for (const std::string& text : source) result.append(kavel::host::to_text(text));
    return result.release();
  }
};

template <>
struct type_caster<std::optional<std::string>> {
  PYBIND11_TYPE_CASTER(std::optional<std::string>, const_name("Optional[str]"));
  bool load(handle source, bool /*convert*/) {
    if (!source) return false;
    if (source.is_none()) return true;
    if (PyUnicode_Check(source.ptr()) == 0) return false;
    value = kavel::host::from_text(source);
    return true;
  }
  static handle cast(const std::optional<std::string>& source, return_value_policy, handle) {
    if (!source) return none().release();
    return kavel::host::to_text(*source).release();
  }
};

template <>
struct type_caster<kavel::runtime::Value> {
  PYBIND11_TYPE_CASTER(kavel::runtime::Value, const_name("object"));
  bool load(handle source, bool /*convert*/) {
    if (!source) return false;
    value = kavel::host::to_value(source);
    return true;
  }
  static handle cast(const kavel::runtime::Value& source, return_value_policy, handle) {
    return kavel::host::from_value(source).release();
  }
};

template <>
struct type_caster<kavel::foundation::Json> {
  PYBIND11_TYPE_CASTER(kavel::foundation::Json, const_name("object"));
  bool load(handle source, bool /*convert*/) {
    if (!source) return false;
    value = kavel::host::to_json(source);
    return true;
  }
  static handle cast(const kavel::foundation::Json& source, return_value_policy, handle) {
    return kavel::host::from_json(source).release();
  }
};

template <class T>
struct type_caster<kavel::runtime::Ref<T>> {
  PYBIND11_TYPE_CASTER(kavel::runtime::Ref<T>, make_caster<T>::name);
  bool load(handle source, bool convert) {
    // A null reference is for arguments of `OrNone` only.
    if (!source || source.is_none()) return false;
    type_caster_base<T> inner;
    if (!inner.load(source, convert)) return false;
    value = kavel::runtime::Ref<T>(static_cast<T*>(inner));
    return true;
  }
  static handle cast(const kavel::runtime::Ref<T>& source, return_value_policy, handle) {
    return kavel::host::expose(source).release();
  }
};

template <class T>
struct type_caster<kavel::host::OrNone<T>> {
  PYBIND11_TYPE_CASTER(kavel::host::OrNone<T>,
                       const_name("Optional[") + make_caster<T>::name + const_name("]"));
  bool load(handle source, bool convert) {
    if (!source) return false;
    if (source.is_none()) return true;
    type_caster<kavel::runtime::Ref<T>> inner;
    if (!inner.load(source, convert)) return false;
    value.reference = static_cast<kavel::runtime::Ref<T>&>(inner);
    return true;
  }
};

}  // namespace pybind11::detail
