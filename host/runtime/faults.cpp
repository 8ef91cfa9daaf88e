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

runtime::FaultReport describe(py::error_already_set& error) {
  runtime::FaultReport report;
  report.class_name = from_text(error.type().attr("__name__"));
  try {
    report.message = from_text(py::str(error.value()));
    report.traceback = stripped_traceback(error);
  } catch (py::error_already_set& nested) {
    // An exception whose own text fails is still reported by its class.
    if (!nested.matches(PyExc_Exception)) throw;
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
      return raised.matches(PyExc_KeyboardInterrupt) || raised.matches(PyExc_GeneratorExit) ||
             must_leave();
    });
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
