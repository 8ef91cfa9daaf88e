#include "core/runtime/unicode.h"

#include "host/py.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

class InterpreterUnicode final : public runtime::Unicode {
 public:
  std::string lower(std::string_view text) override { return convert(text, "lower"); }
  std::string strip(std::string_view text) override { return convert(text, "strip"); }
  std::string title(std::string_view text) override { return convert(text, "title"); }

  std::optional<double> real_number(std::string_view text) override {
    try {
      return py::float_(to_text(text));
    } catch (const py::error_already_set& error) {
      if (!error.matches(PyExc_ValueError)) throw;
      return std::nullopt;
    }
  }

 private:
  static std::string convert(std::string_view text, const char* operation) {
    return from_text(to_text(text).attr(operation)());
  }
};

}  // namespace

runtime::Unicode* unicode_port() {
  static InterpreterUnicode port;
  return &port;
}

}  // namespace kavel::host
