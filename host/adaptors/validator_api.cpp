#include "host/adaptors/validator_api.h"

#include "core/foundation/logger.h"
#include "host/adaptors/check_port.h"
#include "host/adaptors/operator.h"
#include "host/adaptors/statistics.h"

namespace kavel::host {
namespace {

class HostApi final : public checks::ValidatorPort {
 public:
  HostApi(py::handle api, py::handle operator_object, py::handle classes)
      : api_(to_value(api)), operator_(to_value(operator_object)), classes_(to_value(classes)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override {
    visitor(api_);
    visitor(operator_);
    visitor(classes_);
  }
  void drop_references() noexcept override {
    api_ = Value();
    operator_ = Value();
    classes_ = Value();
  }
  Value object() const override { return api_; }

  std::optional<facade::CheckMode> mode() override {
    const py::object mode = part("settings").attr("check").attr("mode");
    for (const auto known : {facade::CheckMode::selection, facade::CheckMode::project}) {
      if (mode.equal(py::int_(static_cast<int>(known)))) return known;
    }
    return std::nullopt;
  }
  std::string project() override {
    return from_text(part("settings").attr("workspace").attr("project"));
  }
  Ref<services::StatisticsPort> statistics() override {
    return statistics_port(part("statistics"));
  }
  void record(double seconds, const std::string& project) override {
    const py::object store = part("statistics");
    const py::object type = py::module_::import("core").attr("_Statistics").attr("Type");
    store.attr("add")(type.attr("Validate")(seconds, to_text(project)));
    store.attr("write")();
  }

  std::vector<Value> controls(const Value& checklist, bool scene_oriented) override {
    return values(from_value(checklist).attr("get")(py::arg("scene_oriented") = scene_oriented));
  }
  bool is_verifiable(const Value& pattern, const std::string& stamp) override {
    return py::bool_(from_value(pattern).attr("is_verifiable")(to_text(stamp)));
  }
  Value checklist(const Value& pattern, const std::string& stamp) override {
    return to_value(from_value(pattern).attr("get_checklist")(to_text(stamp)));
  }
  std::vector<std::string> class_order() override {
    std::vector<std::string> order;
    for (const py::handle check : py::iter(from_value(classes_))) {
      foundation::guarded_foreign([&] { order.push_back(from_text(check.attr("class_id"))); });
    }
    return order;
  }
  std::unique_ptr<checks::CheckPort> checks() override { return check_port(); }
  std::unique_ptr<scene::OperatorPort> operator_port() override {
    return host::operator_port(from_value(operator_));
  }

 private:
  [[nodiscard]] py::object part(const char* name) const { return from_value(api_).attr(name); }

  Value api_;
  Value operator_;
  Value classes_;
};

}  // namespace

std::unique_ptr<checks::ValidatorPort> validator_api(py::handle api, py::handle operator_object,
                                                     py::handle classes) {
  return std::make_unique<HostApi>(api, operator_object, classes);
}

}  // namespace kavel::host
