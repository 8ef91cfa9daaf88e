// When the interpreter ends, threads that it does not wait for are ended where they next ask for
// its lock. Inside a call into the core that would unwind C++ frames, whose destructors need that
// very lock, and the process would abort. So at exit, before any thread is ended, the module waits
// until the calls on other threads have left it, and lets no further ones in.
//
// The binding library offers no place to count calls, but all its functions enter through one
// dispatcher: its address in each function's definition is exchanged for one of ours. The counts
// are guarded by the interpreter's lock.
#include "host/runtime/ending.h"

#include <set>
#include <thread>

namespace kavel::host {
namespace {

// The two forms of the dispatcher, of which a release of the binding library has one.
using Fast = PyObject* (*)(PyObject*, PyObject* const*, size_t, PyObject*);
using Classic = PyObject* (*)(PyObject*, PyObject*, PyObject*);
using Untyped = void (*)();

Untyped dispatch = nullptr;
long calls_inside = 0;
bool ending = false;
std::thread::id ender;

template <class Form, class... Arguments>
PyObject* counted(Arguments... arguments) {
  if (ending && std::this_thread::get_id() != ender) {
    PyErr_SetNone(PyExc_SystemExit);
    return nullptr;
  }
  ++calls_inside;
  PyObject* result = reinterpret_cast<Form>(dispatch)(arguments...);
  --calls_inside;
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

void count_members(py::handle scope, std::set<PyObject*>& seen) {
  const py::list members(scope.attr("__dict__").attr("values")());
  for (const py::handle member : members) {
    if (!seen.insert(member.ptr()).second) continue;
    if (PyType_Check(member.ptr()) != 0) {
      if (from_text(member.attr("__module__")) == "core") count_members(member, seen);
      continue;
    }
    count_function(member);
    for (const char* part : {"fget", "fset", "__func__"}) {
      if (py::hasattr(member, part)) count_function(member.attr(part));
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

void end_calls(double patience) {
  ending = true;
  ender = std::this_thread::get_id();
  const py::object clock = py::module_::import("time").attr("monotonic");
  const py::object sleep = py::module_::import("time").attr("sleep");
  const double end = clock().cast<double>() + patience;
  while (calls_inside > 0 && clock().cast<double>() < end) sleep(0.001);
}

}  // namespace kavel::host
