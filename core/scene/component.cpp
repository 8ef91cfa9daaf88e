#include "core/scene/component.h"

#include <utility>

namespace kavel::scene {
namespace {

constexpr const char* kDialogCaption = "Set Directory";

}  // namespace

Component::Component(std::unique_ptr<ApiPort> api, std::unique_ptr<OperatorPort> port,
                     runtime::Ref<Buffer> buffer, runtime::Ref<Scanner> scanner,
                     std::unique_ptr<facade::Notifier> notifier)
    : api_(std::move(api)),
      operator_(std::move(port)),
      buffer_(std::move(buffer)),
      scanner_(std::move(scanner)),
      notifier_(std::move(notifier)) {}

void Component::each_reference(runtime::ReferenceVisitor& visitor) const {
  api_->each_reference(visitor);
  operator_->each_reference(visitor);
  visitor(buffer_);
  visitor(scanner_);
  notifier_->each_reference(visitor);
  visitor(handler_);
}

void Component::drop_references() noexcept {
  api_->drop_references();
  operator_->drop_references();
  notifier_->drop_references();
  handler_ = runtime::Value();
}

void Component::load_states() {
  const std::optional<std::string> project = api_->current_project();
  if (project && api_->project_exists(*project)) api_->load_project(*project);
}

void Component::link_buffer(const runtime::Value& handler) {
  handler_ = handler;
  load_buffer();
  operator_->register_scene_opened_callback(handler);
}

void Component::load_buffer() {
  buffer_->load();
  notifier_->fire("buffer_loaded");
}

std::optional<std::string> Component::directory_dialog(const std::string& start) {
  // Decoding an empty path would give the current folder.
  const std::string opened = api_->decode_user(start.empty() ? "~" : start);
  const auto picked = operator_->directory_dialog(opened, kDialogCaption);
  if (!picked) return std::nullopt;
  return api_->encode_user(*picked);
}

}  // namespace kavel::scene
