#include "host/adaptors/check_port.h"

#include "core/checks/control.h"
#include "core/foundation/logger.h"
#include "host/adaptors/calls.h"

namespace kavel::host {
namespace {

using checks::CheckPort;
using checks::ParameterTask;

void set(py::handle object, const OperationName& name, py::handle value) {
  if (PyObject_SetAttr(object.ptr(), name.get(), value.ptr()) != 0) throw py::error_already_set();
}

py::object get(py::handle object, const OperationName& name) {
  PyObject* value = PyObject_GetAttr(object.ptr(), name.get());
  if (value == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(value);
}

class HostChecks final : public CheckPort {
 public:
  HostChecks() {
    const py::module_ core = py::module_::import("core");
    buffer_class_ = to_value(core.attr("Structure").attr("NamedBuffer"));
    validation_error_ = to_value(core.attr("Error").attr("ValidationError"));
  }

  Value make(const Value& check_class, const std::string& suffix) override {
    const py::object check = from_value(check_class)();
    if (!suffix.empty()) set(check, long_name_, to_text(name(to_value(check)) + suffix));
    set(check, result_, new_buffer());
    return to_value(check);
  }

  void forget(const Value& check) override {
    const py::object instance = from_value(check);
    set(instance, could_be_fixed_, Py_False);
    set(instance, could_be_selected_, Py_False);
    const py::object buffer = get(instance, result_);
    if (!py::isinstance(buffer, from_value(buffer_class_))) {
      set(instance, result_, new_buffer());
    } else if (Py_TYPE(buffer.ptr()) != buffer_type() || PyList_GET_SIZE(buffer.ptr()) != 0) {
      (void)call_operation(buffer, clear_);
    }
  }

  Outcome run(const Value& check, const Value& path,
              const Ref<ParameterTask>& parameters) override {
    const py::object task = expose(parameters);
    PyObject* arguments[] = {as_python(check), as_python(path), task.ptr()};
    PyObject* answer = PyObject_VectorcallMethod(check_.get(), arguments,
                                                 3 | PY_VECTORCALL_ARGUMENTS_OFFSET, nullptr);
    if (answer != nullptr) {
      Py_DECREF(answer);
      return Outcome::passed;
    }
    // Findings are frequent, so they are told apart without an exception of C++.
    if (PyErr_ExceptionMatches(as_python(validation_error_)) == 0) throw py::error_already_set();
    PyErr_Clear();
    return Outcome::issues;
  }

  void fix(const Value& check, const Value& path, const Ref<ParameterTask>& parameters) override {
    const py::object task = expose(parameters);
    (void)call_operation(as_python(check), fix_result_, {as_python(path), task});
  }
  Value select(const Value& check) override {
    return to_value(call_operation(as_python(check), select_result_));
  }
  std::string message(const Value& check) override {
    return from_text(call_operation(as_python(check), result_message_));
  }

  bool flag(const Value& check_or_class, Flag flag) override {
    const OperationName& name = flag == Flag::could_be_fixed      ? could_be_fixed_
                                : flag == Flag::could_be_selected ? could_be_selected_
                                                                  : scene_oriented_;
    bool set = false;
    foundation::guarded_foreign([&] { set = truth_of(get(as_python(check_or_class), name)); });
    return set;
  }

  std::string name(const Value& check_or_class) override {
    const py::object object = from_value(check_or_class);
    std::string name;
    const bool is_told = foundation::guarded_foreign([&] {
      const py::object text = get(object, long_name_);
      name = from_text(is_text(text) ? text : py::object(py::str(text)));
    });
    if (is_told) return name;
    const bool is_class = PyType_Check(object.ptr()) != 0;
    return from_text((is_class ? object : py::object(py::type::of(object))).attr("__name__"));
  }

  bool is_sole(const Object& object) override {
    auto* face = static_cast<PyObject*>(object.face());
    if (face == nullptr) return object.count() == 1;
    // Another class may have been assigned to it.
    if (Py_REFCNT(face) != 1 || Py_TYPE(face)->tp_traverse != traverse) return false;
    PyObject** const references = PyObject_GET_WEAKREFS_LISTPTR(face);
    if (references != nullptr && *references != nullptr) return false;
    PyObject** const attributes = _PyObject_GetDictPtr(face);
    if (attributes == nullptr || *attributes == nullptr) return true;
    return PyDict_GET_SIZE(*attributes) == 0 && Py_REFCNT(*attributes) == 1;
  }

  Plan plan(const Value& control) override {
    const py::object object = from_value(control);
    if (py::isinstance<checks::Control>(object)) {
      const auto& own = object.cast<const checks::Control&>();
      Plan plan{.check_class = own.check_class().object(), .tasks = own.parameters->tasks->items};
      // A control that was cleared and ticked again has no set of values until the next load.
      if (plan.tasks.empty()) {
        plan.tasks.push_back(
            runtime::make<ParameterTask>(own.parameters->inputs(), own.parameters->as_info));
      }
      return plan;
    }
    Plan plan{.check_class = to_value(object.attr("check")), .tasks = {}};
    for (const py::handle task : py::iter(object.attr("parameters"))) {
      if (!py::isinstance<ParameterTask>(task)) {
        throw py::type_error("the parameters of a control must yield `Parameters.Block.Task`");
      }
      plan.tasks.push_back(task.cast<Ref<ParameterTask>>());
    }
    return plan;
  }
  std::string class_id(const Value& control) override {
    return from_text(from_value(control).attr("check").attr("class_id"));
  }

 private:
  static PyObject* as_python(const Value& value) { return static_cast<PyObject*>(value.get()); }
  PyTypeObject* buffer_type() const {
    return reinterpret_cast<PyTypeObject*>(as_python(buffer_class_));
  }
  /// An empty buffer; its name and items are the defaults of the class, so nothing is to be called.
  py::object new_buffer() const {
    const py::tuple nothing;
    PyObject* made = buffer_type()->tp_new(buffer_type(), nothing.ptr(), nullptr);
    if (made == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::object>(made);
  }

  Value buffer_class_;
  Value validation_error_;
  const OperationName check_{"check"};
  const OperationName fix_result_{"fix_result"};
  const OperationName select_result_{"select_result"};
  const OperationName result_message_{"result_message"};
  const OperationName result_{"result"};
  const OperationName clear_{"clear"};
  const OperationName long_name_{"long_name"};
  const OperationName could_be_fixed_{"could_be_fixed"};
  const OperationName could_be_selected_{"could_be_selected"};
  const OperationName scene_oriented_{"scene_oriented"};
};

}  // namespace

std::unique_ptr<CheckPort> check_port() { return std::make_unique<HostChecks>(); }

}  // namespace kavel::host
