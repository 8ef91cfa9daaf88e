#include "host/adaptors/format.h"

#include "core/foundation/errors.h"

namespace kavel::host {
namespace {

class HostFormat final : public exporting::Format {
 public:
  explicit HostFormat(const py::object& format) : value_(to_value(format)) {}

  [[nodiscard]] const Value& value() const noexcept override { return value_; }
  [[nodiscard]] std::string attr() const override { return text("attr"); }
  [[nodiscard]] std::string label() const override { return text("label"); }
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

py::object instance_of(py::handle element) {
  if (PyType_Check(element.ptr()) != 0) return element();
  return py::reinterpret_borrow<py::object>(element);
}

}  // namespace

exporting::Options::Formats formats(const py::object& options) {
  exporting::Options::Formats result;
  if (options.is_none()) return result;
  for (const py::handle element : py::tuple(options)) {
    const py::object format = instance_of(element);
    for (const char* name : {"attr", "label", "data", "load", "clone"}) {
      foundation::assert_that(py::hasattr(format, name),
                              std::string("an export format has no attribute ") + name);
    }
    result.push_back(std::make_unique<HostFormat>(format));
  }
  return result;
}

}  // namespace kavel::host
