// Whether a newer version is available: asked of the tools server once, over HTTPS.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/runtime/object.h"

namespace kavel::services {

/// Where to ask, as the settings have it at the time of asking.
class UpdateSource {
 public:
  virtual ~UpdateSource() = default;
  virtual void each_reference([[maybe_unused]] runtime::ReferenceVisitor& visitor) const {}
  virtual void drop_references() noexcept {}
  /// The host's object.
  [[nodiscard]] virtual runtime::Value object() const { return {}; }
  [[nodiscard]] virtual std::string host() = 0;
  [[nodiscard]] virtual std::string path() = 0;
};

class UpdateTracker final : public runtime::Object {
 public:
  static constexpr double kTimeout = 10;

  /// Asks nothing yet.
  UpdateTracker(std::unique_ptr<UpdateSource> source, const std::string& local_version)
      : source_(std::move(source)), local_version_(clean_version(local_version)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override {
    source_->each_reference(visitor);
  }
  void drop_references() noexcept override { source_->drop_references(); }

  [[nodiscard]] const UpdateSource& source() const noexcept { return *source_; }
  /// The running version, normalised.
  [[nodiscard]] const std::string& local_version() const noexcept { return local_version_; }
  /// What the server answered: nothing before it was asked and when it could not be.
  [[nodiscard]] const std::optional<std::string>& remote_version() const noexcept {
    return remote_version_;
  }
  /// The latest version; nothing for an answer that is none.
  [[nodiscard]] std::optional<std::string> version() const;

  /// Whether there is a newer version. Asks the server the first time only, also when that failed.
  [[nodiscard]] bool exist();
  /// Asks the server. Returns its answer, normalised if it is a version; nothing, with an entry in
  /// the log, when there is none.
  [[nodiscard]] std::optional<std::string> ask() const;

  /// Whether all parts between points consist of the digits 0 to 9.
  [[nodiscard]] static bool is_version(std::string_view text);
  /// The text with ".0" appended until it has three parts.
  [[nodiscard]] static std::string clean_version(const std::string& text);
  /// Whether the first part that differs is greater in `remote`, as a whole number of any size.
  /// False for what is no version.
  [[nodiscard]] static bool is_above_version(std::string_view local, std::string_view remote);

  /// Seconds that asking may take; an address that does not respond may take as long for itself.
  double timeout = kTimeout;

 private:
  std::unique_ptr<UpdateSource> source_;
  std::string local_version_;
  std::optional<std::string> remote_version_;
  bool was_asked_ = false;
};

}  // namespace kavel::services
