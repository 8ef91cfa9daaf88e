#include <new>

#include "host/errors.h"
#include "host/py.h"
#include "host/runtime/ending.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

std::string stripped_traceback(py::error_already_set& error) {
  const py::object lines =
      py::module_::import("traceback")
          .attr("format_exception")(error.type(), error.value(),
                                    error.trace() ? error.trace() : py::none());
  return from_text(py::str("").attr("join")(lines).attr("strip")("\n"));
}

bool is_interrupt(const py::error_already_set& error) {
  return error.matches(PyExc_KeyboardInterrupt) || error.matches(PyExc_GeneratorExit);
}

runtime::FaultReport describe(py::error_already_set& error) {
  runtime::FaultReport report;
  report.class_name = from_text(error.type().attr("__name__"));
  try {
    report.message = from_text(py::str(error.value()));
    report.traceback = stripped_traceback(error);
  } catch (py::error_already_set& nested) {
    // An exception whose own text fails, or tries to leave, is still reported by its class.
    if (is_interrupt(nested)) throw;
  }
  return report;
}

class InterpreterFaults final : public runtime::Faults {
 public:
  std::optional<runtime::FaultReport> report(const std::exception_ptr& error) override {
    return report_unless(error, [](const py::error_already_set& raised) {
      return !raised.matches(PyExc_Exception);
    });
  }

  std::optional<runtime::FaultReport> report_foreign(const std::exception_ptr& error) override {
    return report_unless(error, [](const py::error_already_set& raised) {
      return is_interrupt(raised) || must_leave();
    });
  }

  Value keep(const std::exception_ptr& error) override {
    py::object exception = exception_object(error);
    for (const char* held : {"__traceback__", "__context__", "__cause__"}) {
      py::setattr(exception, held, py::none());
    }
    return to_value(exception);
  }

  void raise(const Value& exception) override {
    const py::object raised = from_value(exception);
    PyErr_SetObject(py::type::of(raised).ptr(), raised.ptr());
    throw py::error_already_set();
  }

  bool is(const std::exception_ptr& error, const char* class_name) override {
    const py::object expected = py::module_::import("builtins").attr(class_name);
    try {
      std::rethrow_exception(error);
    } catch (py::error_already_set& raised) {
      return raised.matches(expected);
    } catch (const foundation::Error& raised) {
      return PyObject_IsSubclass(error_class(raised.kind()).ptr(), expected.ptr()) == 1;
    } catch (...) {
      return false;
    }
  }

 private:
  template <class Test>
  std::optional<runtime::FaultReport> report_unless(const std::exception_ptr& error, Test passes) {
    try {
      std::rethrow_exception(error);
    } catch (py::error_already_set& raised) {
      if (passes(raised)) return std::nullopt;
      return describe(raised);
    } catch (const foundation::Error& raised) {
      return runtime::FaultReport{from_text(error_class(raised.kind()).attr("__name__")),
                                  raised.what(), ""};
    } catch (const py::builtin_exception& raised) {
      // The class in which it will reach the host.
      raised.set_error();
      const py::error_already_set mapped;
      return runtime::FaultReport{from_text(mapped.type().attr("__name__")), raised.what(), ""};
    } catch (const std::bad_alloc& raised) {
      return runtime::FaultReport{"MemoryError", raised.what(), ""};
    } catch (const std::exception& raised) {
      return runtime::FaultReport{"RuntimeError", raised.what(), ""};
    }
  }
};

}  // namespace

runtime::Faults* faults_port() {
  static InterpreterFaults port;
  return &port;
}

}  // namespace kavel::host
