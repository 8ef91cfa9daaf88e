#include "host/adaptors/format.h"

#include "core/checks/options.h"
#include "core/foundation/errors.h"

namespace kavel::host {
namespace {

class HostFormat final : public exporting::Format {
 public:
  explicit HostFormat(const py::object& format) : value_(to_value(format)) {
    foundation::assert_that(py::isinstance<checks::Options>(format),
                            "an export format is an object of class " +
                                from_text(py::type::of(format).attr("__name__")) +
                                ", not a Parameters.Options");
  }

  [[nodiscard]] const Value& value() const noexcept override { return value_; }
  [[nodiscard]] std::string attr() const override { return text("attr"); }
  [[nodiscard]] std::string label() const override { return text("label"); }
  [[nodiscard]] foundation::Json values() const override {
    return from_value(value_).cast<const checks::Options&>().state();
  }
  [[nodiscard]] foundation::Json data() const override {
    return to_json(from_value(value_).attr("data"));
  }
  void load(const foundation::Json& data) override {
    from_value(value_).attr("load")(from_json(data));
  }
  [[nodiscard]] std::unique_ptr<Format> clone() const override {
    return std::make_unique<HostFormat>(from_value(value_).attr("clone")());
  }

 private:
  [[nodiscard]] std::string text(const char* name) const {
    return from_text(from_value(value_).attr(name));
  }

  Value value_;
};

/// A class of anything else is refused as an object of anything else.
py::object instance_of(py::handle element) {
  const py::object base = py::type::of<checks::Options>();
  const bool is_format_class = PyType_Check(element.ptr()) != 0 &&
                               PyType_IsSubtype(reinterpret_cast<PyTypeObject*>(element.ptr()),
                                                reinterpret_cast<PyTypeObject*>(base.ptr())) != 0;
  if (is_format_class) return element();
  return py::reinterpret_borrow<py::object>(element);
}

}  // namespace

exporting::Options::Formats formats(const py::object& options) {
  exporting::Options::Formats result;
  if (options.is_none()) return result;
  for (const py::handle element : py::tuple(options)) {
    result.push_back(std::make_unique<HostFormat>(instance_of(element)));
  }
  return result;
}

}  // namespace kavel::host
