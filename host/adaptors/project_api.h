// The facade and the hierarchy matcher as the projects use them: any objects with the same
// attributes.
#pragma once

#include "host/adaptors/projects.h"

namespace kavel::host {

/// Uses `env.target`, `env.get_projects_directory()`, `callbacks.projects_saved()`,
/// `settings.workspace.project`, `settings.write()`, `settings.check.mode`,
/// `export.options.load(data)` and `export.flags.load(data)`.
class ApiStandIn final : public StandIn<projects::ApiPort, ApiStandIn> {
 public:
  using StandIn::StandIn;
  [[nodiscard]] std::string target() override;
  [[nodiscard]] std::string projects_directory() override;
  void announce_saved() override;
  [[nodiscard]] std::string current_project() override;
  void remember_project(const std::string& filename) override;
  [[nodiscard]] bool is_project_mode() override;
  void load_export(const foundation::Json& options, const foundation::Json& flags) override;
};

/// Uses `pattern.set(record)` and, where they exist, `pattern.check_classes.reloads`.
class MatcherStandIn final : public StandIn<projects::MatcherPort, MatcherStandIn> {
 public:
  using StandIn::StandIn;
  void set_pattern(const Ref<projects::Record>& record) override;
  [[nodiscard]] std::int64_t check_reloads() override;
};

}  // namespace kavel::host
