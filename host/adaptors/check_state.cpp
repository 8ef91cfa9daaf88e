#include "host/adaptors/check_state.h"

#include "host/adaptors/calls.h"

namespace kavel::host {
namespace {

using checks::CheckConfigPort;
using checks::CheckState;
using foundation::Json;
using services::CheckConfig;
using services::CheckEntry;

class HostState final : public CheckState {
 public:
  explicit HostState(const py::object& entry) : entry_(to_value(entry)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(entry_); }
  bool enabled() const override { return truth_of(entry().attr("enabled")); }
  bool opened() const override { return truth_of(entry().attr("opened")); }
  Json parameters() const override { return to_json(entry().attr("parameters")); }
  void store(bool enabled, bool opened, Json parameters) override {
    entry().attr("enabled") = enabled;
    entry().attr("opened") = opened;
    entry().attr("parameters") = from_json(parameters);
  }
  Value object() const override { return entry_; }

 private:
  [[nodiscard]] py::object entry() const { return from_value(entry_); }

  Value entry_;
};

class HostConfig final : public CheckConfigPort {
 public:
  explicit HostConfig(const py::object& config) : config_(to_value(config)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(config_); }
  std::unique_ptr<CheckState> get(const std::string& class_id, bool force) override {
    return check_state(from_value(config_).attr("get")(to_text(class_id), force));
  }
  Value object() const override { return config_; }

 private:
  Value config_;
};

}  // namespace

std::unique_ptr<CheckState> check_state(const py::object& entry) {
  if (entry.is_none()) return nullptr;
  if (py::isinstance<CheckEntry>(entry)) {
    return checks::check_state(entry.cast<Ref<CheckEntry>>());
  }
  return std::make_unique<HostState>(entry);
}

py::object state_object(const CheckState* state) {
  if (state == nullptr) return py::none();
  return state->native() ? expose(state->native()) : from_value(state->object());
}

std::unique_ptr<CheckConfigPort> check_config(const py::object& config) {
  if (config.is_none()) return nullptr;
  if (py::isinstance<CheckConfig>(config)) {
    return checks::check_config(config.cast<Ref<CheckConfig>>());
  }
  return std::make_unique<HostConfig>(config);
}

py::object config_object(const CheckConfigPort* config) {
  if (config == nullptr) return py::none();
  return config->native() ? expose(config->native()) : from_value(config->object());
}

}  // namespace kavel::host
