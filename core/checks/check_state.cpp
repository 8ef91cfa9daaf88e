#include "core/checks/check_state.h"

#include <utility>

namespace kavel::checks {
namespace {

using foundation::Json;
using runtime::Ref;
using services::CheckConfig;
using services::CheckEntry;

class EntryState final : public CheckState {
 public:
  explicit EntryState(Ref<CheckEntry> entry) : entry_(std::move(entry)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(entry_); }
  bool enabled() const override { return entry_->enabled; }
  bool opened() const override { return entry_->opened; }
  Json parameters() const override { return entry_->parameters; }
  void store(bool enabled, bool opened, Json parameters) override {
    entry_->enabled = enabled;
    entry_->opened = opened;
    entry_->parameters = std::move(parameters);
  }
  Ref<CheckEntry> native() const override { return entry_; }

 private:
  Ref<CheckEntry> entry_;
};

class OwnConfig final : public CheckConfigPort {
 public:
  explicit OwnConfig(Ref<CheckConfig> config) : config_(std::move(config)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(config_); }
  std::unique_ptr<CheckState> get(const std::string& class_id, bool force) override {
    return check_state(config_->get(class_id, force));
  }
  Ref<CheckConfig> native() const override { return config_; }

 private:
  Ref<CheckConfig> config_;
};

}  // namespace

std::unique_ptr<CheckState> check_state(Ref<CheckEntry> entry) {
  if (!entry) return nullptr;
  return std::make_unique<EntryState>(std::move(entry));
}

std::unique_ptr<CheckConfigPort> check_config(Ref<CheckConfig> config) {
  if (!config) return nullptr;
  return std::make_unique<OwnConfig>(std::move(config));
}

}  // namespace kavel::checks
