// The user's application settings: one file, read when the facade is built and written back whole
// whenever a component changes something.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/facade/constants.h"
#include "core/foundation/json.h"
#include "core/services/check_config.h"
#include "core/services/check_directories.h"
#include "core/services/check_presets.h"
#include "core/services/service_urls.h"

namespace kavel::services {

// The members take what is missing in their data, or of another type, from their defaults.

/// Folders, mode, choices and presets of checks.
class CheckState final : public runtime::Object {
 public:
  explicit CheckState(const foundation::Json& data);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;

  /// {"directories", "mode", "list", "presets"}.
  [[nodiscard]] foundation::Json data() const;
  /// The same with the folders that were gone.
  [[nodiscard]] foundation::Json file_data() const;

  const runtime::Ref<CheckDirectories> directories;
  const runtime::Ref<CheckConfig> config;
  const runtime::Ref<CheckPresets> presets;
  /// A `facade::CheckMode`.
  std::int64_t mode;
};

class ExportSettings final : public runtime::Object {
 public:
  explicit ExportSettings(const foundation::Json& data);

  /// {"mode", "directory"}.
  [[nodiscard]] foundation::Json data() const;

  /// A `facade::ExportMode`.
  std::int64_t mode;
  /// "~" stands for the user's home.
  std::string directory;
};

class Workspace final : public runtime::Object {
 public:
  explicit Workspace(const foundation::Json& data);

  /// {"project", "check_updates"}.
  [[nodiscard]] foundation::Json data() const;

  /// File name of the current project.
  std::string project;
  bool check_updates;
};

/// The shared server. Its address is published as the process variable KAVEL-SERVER when this is
/// made and whenever the host or the port is set; an address that cannot be is logged.
class ServerSettings final : public runtime::Object {
 public:
  explicit ServerSettings(const foundation::Json& data);

  /// {"enabled", "host", "port", "erase_sent"}.
  [[nodiscard]] foundation::Json data() const;

  [[nodiscard]] const std::string& host() const noexcept { return host_; }
  void set_host(std::string host);
  [[nodiscard]] std::int64_t port() const noexcept { return port_; }
  void set_port(std::int64_t port);

  bool enabled;
  /// Whether records are erased here once the server has them.
  bool erase_sent;

 private:
  void publish() const;

  std::string host_;
  std::int64_t port_;
};

/// Everything, with the file it is kept in. Neither reading nor writing throws but for interrupts.
class Settings final : public runtime::Object {
 public:
  static constexpr int kVersion = 4;

  /// What an environment says about the settings.
  struct Source {
    std::string file;
    std::string target;
    std::string scope;
  };

  /// Reads the file; without a usable one everything has its default.
  explicit Settings(const Source& source);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;

  /// The content of the file as it is now: an empty map when it is missing or of no use, for which
  /// the reason is logged.
  [[nodiscard]] foundation::Json read();
  /// {"version", "check", "export", "workspace", "server"}.
  [[nodiscard]] foundation::Json data() const;
  /// Writes the file; a failure is logged. What could not be read is kept in the folder
  /// ".corrupted" before it is replaced.
  void write();

  // Each the same object for life.
  runtime::Ref<CheckState> check;
  runtime::Ref<ExportSettings> exporter;
  runtime::Ref<Workspace> workspace;
  runtime::Ref<ServerSettings> server;
  runtime::Ref<ServiceUrls> urls;

 private:
  std::string path_;
  /// Whether the file holds something that was not understood.
  bool keeps_unread_ = false;
};

}  // namespace kavel::services
