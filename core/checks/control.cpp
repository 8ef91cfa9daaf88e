#include "core/checks/control.h"

#include <utility>

#include "core/foundation/logger.h"

namespace kavel::checks {

Control::Control(std::unique_ptr<CheckClassPort> check_class)
    : parameters(check_class->parameters()->clone()), check_class_(std::move(check_class)) {}

void Control::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(parameters);
  visitor(check_class_->object());
  if (state_) state_->each_reference(visitor);
}

void Control::load(std::unique_ptr<CheckState> state) {
  const bool is_enabled = state->enabled();
  const bool is_opened = state->opened();
  parameters->load(state->parameters());
  enabled = is_enabled;
  opened = is_opened;
  state_ = std::move(state);
}

void Control::save() {
  // An input or an entry of a host may load this control anew meanwhile.
  const std::shared_ptr<CheckState> state = state_;
  if (!state) return;
  const bool is_enabled = enabled;
  const bool is_opened = is_enabled && opened;
  foundation::Json data = is_enabled ? parameters->data() : parameters->defaults();
  state->store(is_enabled, is_opened, std::move(data));
}

void Control::clear() {
  parameters->reset();
  enabled = false;
  opened = false;
}

bool Control::scene_oriented() const {
  bool answer = false;
  foundation::guarded_foreign([&] { answer = check_class_->scene_oriented(); });
  return answer;
}

}  // namespace kavel::checks
