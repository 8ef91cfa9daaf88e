// When the interpreter ends, threads that it does not wait for are ended where they next ask for
// its lock, by unwinding their frames. Inside a call into the core those are C++ frames, whose
// destructors and handlers need that very lock: the process would abort or crash.
//
// So at exit, before any thread is ended, the module lets no further calls in and makes those
// inside leave with a `SystemExit` where the core gets a host's answer, a turn or a lock. What then
// still is inside sits in one call of a host's that does not come back; where the core made that
// call the thread is stopped for good instead of being unwound (`stopped_if_ended`). To raise
// something inside a host's code instead would be quicker, but can leave its locks held, for which
// others wait at exit.
//
// The binding library offers no place to count calls, but all its functions enter through one
// dispatcher: its address in each function's definition is exchanged for one of ours. The counts
// are guarded by the interpreter's lock.
#include "host/runtime/ending.h"

#include <set>

namespace kavel::host {
namespace {

// The two forms of the dispatcher, of which a release of the binding library has one.
using Fast = PyObject* (*)(PyObject*, PyObject* const*, size_t, PyObject*);
using Classic = PyObject* (*)(PyObject*, PyObject*, PyObject*);
using Untyped = void (*)();

Untyped dispatch = nullptr;
bool ending = false;
unsigned long ender = 0;
/// Threads with a call inside, and the nesting of calls on this one.
long threads_inside = 0;
thread_local long depth = 0;

}  // namespace

bool must_leave() { return ending && PyThread_get_thread_ident() != ender; }

namespace {

template <class Form, class... Arguments>
PyObject* counted(Arguments... arguments) {
  if (must_leave()) {
    PyErr_SetNone(PyExc_SystemExit);
    return nullptr;
  }
  if (depth++ == 0) ++threads_inside;
  PyObject* result = reinterpret_cast<Form>(dispatch)(arguments...);
  if (--depth == 0) --threads_inside;
  return result;
}

Untyped counted_form(int flags) {
  const Fast fast = &counted<Fast>;
  const Classic classic = &counted<Classic>;
  return (flags & METH_FASTCALL) != 0 ? reinterpret_cast<Untyped>(fast)
                                      : reinterpret_cast<Untyped>(classic);
}

PyMethodDef* definition(py::handle function) {
  PyObject* raw = function.ptr();
  if (PyInstanceMethod_Check(raw) != 0) raw = PyInstanceMethod_GET_FUNCTION(raw);
  if (PyCFunction_Check(raw) == 0) return nullptr;
  return reinterpret_cast<PyCFunctionObject*>(raw)->m_ml;
}

void count_function(py::handle function) {
  PyMethodDef* const found = definition(function);
  if (found == nullptr || reinterpret_cast<Untyped>(found->ml_meth) != dispatch) return;
  found->ml_meth = reinterpret_cast<PyCFunction>(counted_form(found->ml_flags));
}

/// The functions that a member of a class or module is made of.
void count_member(py::handle member) {
  const auto is = [member](PyTypeObject& type) { return PyObject_TypeCheck(member.ptr(), &type); };
  if (is(PyProperty_Type)) {
    count_function(member.attr("fget"));
    count_function(member.attr("fset"));
  } else if (is(PyStaticMethod_Type) || is(PyClassMethod_Type) || is(PyMethod_Type)) {
    count_function(member.attr("__func__"));
  } else {
    count_function(member);
  }
}

void count_members(py::handle scope, std::set<PyObject*>& seen) {
  const py::list members(scope.attr("__dict__").attr("values")());
  for (const py::handle member : members) {
    if (!seen.insert(member.ptr()).second) continue;
    if (PyType_Check(member.ptr()) == 0) {
      count_member(member);
    } else if (from_text(member.attr("__module__")) == "core") {
      count_members(member, seen);
    }
  }
}

}  // namespace

void count_calls(py::handle module) {
  const py::cpp_function any([] {});
  dispatch = reinterpret_cast<Untyped>(definition(any)->ml_meth);
  std::set<PyObject*> seen;
  count_members(module, seen);
}

void leave_when_ending() {
  if (!must_leave()) return;
  PyErr_SetNone(PyExc_SystemExit);
  throw py::error_already_set();
}

py::object call_and_wait(py::handle callable, const py::tuple& arguments,
                         const py::dict& keywords) {
  PyObject* const result = stopped_if_ended(
      [&] { return PyObject_Call(callable.ptr(), arguments.ptr(), keywords.ptr()); });
  if (result == nullptr) throw py::error_already_set();
  auto answer = py::reinterpret_steal<py::object>(result);
  leave_when_ending();
  return answer;
}

void end_calls(double patience) {
  ending = true;
  ender = PyThread_get_thread_ident();
  const py::object clock = py::module_::import("time").attr("monotonic");
  const py::object sleep = py::module_::import("time").attr("sleep");
  const double end = clock().cast<double>() + patience;
  const long own = depth > 0 ? 1 : 0;
  while (threads_inside > own && clock().cast<double>() < end) sleep(0.001);
}

}  // namespace kavel::host
