#include "core/foundation/errors.h"
#include "host/py.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

class InterpreterJson final : public runtime::JsonText {
 public:
  Value parse(std::string_view text) override {
    const auto json = py::module_::import("json");
    try {
      return to_value(json.attr("loads")(to_text(text)));
    } catch (py::error_already_set& error) {
      if (!error.matches(json.attr("JSONDecodeError"))) throw;
      throw foundation::Error(foundation::ErrorKind::invalid_json,
                              from_text(py::str(error.value())));
    }
  }

  std::string dump(const Value& value, int indent) override {
    const auto json = py::module_::import("json");
    const py::object width = indent > 0 ? py::object(py::int_(indent)) : py::object(py::none());
    return from_text(json.attr("dumps")(from_value(value), py::arg("indent") = width,
                                        py::arg("ensure_ascii") = false));
  }

  foundation::Json to_json(const Value& value) override { return host::to_json(from_value(value)); }

  Value from_json(const foundation::Json& json) override { return to_value(host::from_json(json)); }

  void refill(const Value& target, const foundation::Json& content) override {
    // Converted before anything is removed: a failure leaves the map as it was.
    const py::object fresh = host::from_json(content);
    const py::object map = from_value(target);
    map.attr("clear")();
    map.attr("update")(fresh);
  }
};

}  // namespace

runtime::JsonText* json_port() {
  static InterpreterJson port;
  return &port;
}

}  // namespace kavel::host
