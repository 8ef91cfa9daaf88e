// The scene component: owns the scanner, loads the current project, keeps the buffer in step with
// the scene that the host has open, and offers the directory dialog with paths in the "~" form.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "core/facade/notifier.h"
#include "core/scene/buffer.h"
#include "core/scene/scanner.h"

namespace kavel::scene {

/// What the component asks of the rest of the program.
class ApiPort {
 public:
  virtual ~ApiPort() = default;
  virtual void each_reference([[maybe_unused]] runtime::ReferenceVisitor& visitor) const {}
  virtual void drop_references() noexcept {}
  [[nodiscard]] virtual runtime::Value object() const = 0;

  [[nodiscard]] virtual std::string decode_user(const std::string& path) = 0;
  [[nodiscard]] virtual std::string encode_user(const std::string& path) = 0;
  /// File name of the project that is recorded as current; nothing when there is none.
  [[nodiscard]] virtual std::optional<std::string> current_project() = 0;
  [[nodiscard]] virtual bool project_exists(const std::string& filename) = 0;
  virtual void load_project(const std::string& filename) = 0;
};

class Component final : public runtime::Object {
 public:
  Component(std::unique_ptr<ApiPort> api, std::unique_ptr<OperatorPort> port,
            runtime::Ref<Buffer> buffer, runtime::Ref<Scanner> scanner,
            std::unique_ptr<facade::Notifier> notifier);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Loads the project that is recorded as current, if it still exists.
  void load_states();
  /// Loads the buffer now and, through `handler`, whenever the host opens a scene. `handler` calls
  /// `load_buffer`; it is kept, so that the host always holds the same one.
  void link_buffer(const runtime::Value& handler);
  /// Loads the buffer from the scene file and tells the host. Errors of the operator propagate.
  void load_buffer();

  /// The folder that the user picks, in the "~" form; nothing when none is picked.
  [[nodiscard]] std::optional<std::string> directory_dialog(const std::string& start);

  [[nodiscard]] const ApiPort& api() const noexcept { return *api_; }
  [[nodiscard]] const OperatorPort& port() const noexcept { return *operator_; }
  [[nodiscard]] const runtime::Ref<Buffer>& buffer() const noexcept { return buffer_; }
  [[nodiscard]] const runtime::Ref<Scanner>& scanner() const noexcept { return scanner_; }

 private:
  std::unique_ptr<ApiPort> api_;
  std::unique_ptr<OperatorPort> operator_;
  runtime::Ref<Buffer> buffer_;
  runtime::Ref<Scanner> scanner_;
  std::unique_ptr<facade::Notifier> notifier_;
  runtime::Value handler_;
};

}  // namespace kavel::scene
