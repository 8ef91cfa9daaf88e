#include "host/adaptors/statistics.h"

#include "core/foundation/logger.h"
#include "host/adaptors/calls.h"

namespace kavel::host {
namespace {

using services::Statistics;
using services::StatisticsPort;

class HostStatistics final : public StatisticsPort {
 public:
  explicit HostStatistics(const py::object& store)
      : store_(to_value(store)), record_class_(to_value(py::type::of<services::ChecksRecord>())) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override {
    visitor(store_);
    visitor(record_class_);
  }
  void drop_references() noexcept override { store_ = Value(); }
  [[nodiscard]] const Value& store() const noexcept { return store_; }

  void add_check(std::string_view name, std::string_view status, double seconds) override {
    foundation::guarded([&] {
      const py::object record = from_value(record_class_)(to_text(name), to_text(status), seconds);
      (void)call_operation(from_value(store_), add_, {record});
    });
  }

 private:
  const OperationName add_{"add"};
  Value store_;
  Value record_class_;
};

/// Whether neither the class nor the object itself has an `add` of its own.
bool adds_natively(const py::object& store) {
  if (!py::isinstance<Statistics>(store)) return false;
  const py::object own = py::type::of<Statistics>().attr("add");
  const py::object used = py::type::of(store).attr("add");
  return used.is(own) && !store.attr("__dict__").contains("add");
}

}  // namespace

Ref<StatisticsPort> statistics_port(const py::object& store) {
  if (adds_natively(store)) return store.cast<Ref<Statistics>>();
  return runtime::make<HostStatistics>(store);
}

py::object statistics_object(const Ref<StatisticsPort>& port) {
  const auto* adaptor = dynamic_cast<const HostStatistics*>(port.get());
  return adaptor == nullptr ? expose(port) : from_value(adaptor->store());
}

const services::StatisticsRecord* plain_record(const py::object& object) {
  if (!py::isinstance<services::StatisticsRecord>(object)) return nullptr;
  const auto& record = object.cast<const services::StatisticsRecord&>();
  const bool own = from_text(py::type::of(object).attr("__module__")) == "core";
  return own ? &record : nullptr;
}

}  // namespace kavel::host
