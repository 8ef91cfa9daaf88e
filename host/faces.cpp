// The faces of core objects: how they are made, and what the collector is shown of them.
#include <unordered_map>

#include "host/no_collection.h"
#include "host/py.h"

namespace kavel::host {
namespace {

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

}  // namespace

py::object expose(const Object* object) {
  if (object == nullptr) return py::none();
  if (object->face() != nullptr) {
    return py::reinterpret_borrow<py::object>(static_cast<PyObject*>(object->face()));
  }
  auto* mutable_object = const_cast<Object*>(object);
  Value owner;
  if (const Object* above = object->owner()) owner = to_value(expose(above));
  // While a face is being made no foreign code may run: it could ask for the same face.
  const NoCollection guard;
  py::object face = py::cast(mutable_object, py::return_value_policy::take_ownership);
  mutable_object->attach_face(face.ptr(), std::move(owner));
  return face;
}

Object* content(PyObject* face) {
  auto* instance = reinterpret_cast<py::detail::instance*>(face);
  const auto held = instance->get_value_and_holder();
  if (!held.holder_constructed()) return nullptr;
  return static_cast<Object*>(held.value_ptr());
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

void refuse_unmade(py::handle bound) {
  auto* type = py::detail::get_type_info(reinterpret_cast<PyTypeObject*>(bound.ptr()));
  // Asked for the object of an instance that has none yet, the library would allocate one here.
  type->operator_new = [](std::size_t) -> void* {
    throw py::type_error("the object was made without calling __init__() of its class");
  };
}

void adopt(py::detail::value_and_holder& instance, Object* object) {
  // The most derived address is what the binding library stores.
  instance.value_ptr() = dynamic_cast<void*>(object);
  instance.type->init_instance(instance.inst, nullptr);
  object->attach_face(instance.inst, Value());
}

}  // namespace kavel::host
