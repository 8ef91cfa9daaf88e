#include "core/runtime/unicode.h"

#include "host/py.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

class InterpreterUnicode final : public runtime::Unicode {
 public:
  std::string lower(std::string_view text) override { return convert(text, "lower"); }
  std::string upper(std::string_view text) override { return convert(text, "upper"); }
  std::string strip(std::string_view text) override { return convert(text, "strip"); }
  std::string title(std::string_view text) override { return convert(text, "title"); }

  std::optional<double> real_number(std::string_view text) override {
    return if_number([&] { return static_cast<double>(py::float_(to_text(text))); });
  }
  std::optional<std::string> whole_number(std::string_view text) override {
    return if_number([&] { return from_text(py::str(py::int_(to_text(text)))); });
  }

 private:
  template <class Read>
  static auto if_number(Read read) -> std::optional<decltype(read())> {
    try {
      return read();
    } catch (const py::error_already_set& error) {
      if (!error.matches(PyExc_ValueError)) throw;
      return std::nullopt;
    }
  }
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
