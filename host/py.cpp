#include "host/py.h"

#include <unordered_map>

#include "core/foundation/errors.h"

namespace kavel::host {
namespace {

/// Depth of nested lists and maps that is converted; deeper data is refused, not a stack overflow.
constexpr int kMaximumDepth = 500;

class Traversal final : public runtime::ReferenceVisitor {
 public:
  Traversal(visitproc visit, void* argument) : visit_(visit), argument_(argument) {}

  void value(const Value& value) override { show(value.get()); }
  void object(const Object& object) override {
    if (object.face() != nullptr) {
      show(object.face());
    } else if (object.count() == 1 || ++met_[&object] == object.count()) {
      // Nobody else holds it, so what it holds is held through here exactly once.
      pending_.push_back(&object);
    }
  }
  /// Shows what `object` holds. A pile in place of recursion: trees without faces may be deep.
  int run(const Object& object) {
    (*this)(object.owner_face());
    object.each_reference(*this);
    while (!pending_.empty()) {
      const Object& next = *pending_.back();
      pending_.pop_back();
      next.each_reference(*this);
    }
    return result_;
  }

 private:
  void show(void* object) {
    if (result_ == 0) result_ = visit_(static_cast<PyObject*>(object), argument_);
  }

  visitproc visit_;
  void* argument_;
  int result_ = 0;
  std::vector<const Object*> pending_;
  /// How many of the references to an object that has several were met so far.
  std::unordered_map<const Object*, std::size_t> met_;
};

/// While a face is being made no foreign code may run: it could ask for the same face.
class NoCollection {
 public:
#if PY_VERSION_HEX >= 0x030A0000
  NoCollection() : was_enabled_(PyGC_Disable()) {}
  ~NoCollection() {
    if (was_enabled_ != 0) PyGC_Enable();
  }

 private:
  int was_enabled_;
#else
  NoCollection() {}
#endif

 public:
  NoCollection(const NoCollection&) = delete;
  NoCollection& operator=(const NoCollection&) = delete;
};

/// Whether the interpreter's own traversal of a derived class has shown the attributes already, as
/// it does where it gives such a class a place for them that differs from the bound class's.
bool shows_attributes(PyTypeObject* type) {
  PyTypeObject* bound = type;
  while (bound->tp_traverse != traverse) bound = bound->tp_base;
  return bound->tp_dictoffset != type->tp_dictoffset;
}

int visit_attributes(PyObject* self, visitproc visit, void* arg) {
#if PY_VERSION_HEX >= 0x030D0000
  return PyObject_VisitManagedDict(self, visit, arg);
#else
  PyObject** const attributes = _PyObject_GetDictPtr(self);
  if (attributes != nullptr) Py_VISIT(*attributes);
  return 0;
#endif
}

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

py::object expose(const Object* object) {
  if (object == nullptr) return py::none();
  if (object->face() != nullptr) {
    return py::reinterpret_borrow<py::object>(static_cast<PyObject*>(object->face()));
  }
  auto* mutable_object = const_cast<Object*>(object);
  Value owner;
  if (const Object* above = object->owner()) owner = to_value(expose(above));
  const NoCollection guard;
  py::object face = py::cast(mutable_object, py::return_value_policy::take_ownership);
  mutable_object->attach_face(face.ptr(), std::move(owner));
  return face;
}

Object* content(PyObject* self) {
  auto* instance = reinterpret_cast<py::detail::instance*>(self);
  const auto held = instance->get_value_and_holder();
  if (!held.holder_constructed()) return nullptr;
  return static_cast<Object*>(held.value_ptr());
}

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

int traverse(PyObject* self, visitproc visit, void* arg) {
  if (!shows_attributes(Py_TYPE(self))) {
    if (const int result = visit_attributes(self, visit, arg)) return result;
  }
  Py_VISIT(Py_TYPE(self));
  if (Object* object = content(self)) {
    return Traversal(visit, arg).run(*object);
  }
  return 0;
}

int clear(PyObject* self) {
#if PY_VERSION_HEX >= 0x030D0000
  PyObject_ClearManagedDict(self);
#else
  PyObject** const attributes = _PyObject_GetDictPtr(self);
  if (attributes != nullptr) Py_CLEAR(*attributes);
#endif
  if (Object* object = content(self)) {
    object->drop_owner_face();
    object->drop_references();
  }
  return 0;
}

void adopt(py::detail::value_and_holder& instance, Object* object) {
  // The most derived address is what the binding library stores.
  instance.value_ptr() = dynamic_cast<void*>(object);
  instance.type->init_instance(instance.inst, nullptr);
  object->attach_face(instance.inst, Value());
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
