// Addresses of the online services.
#pragma once

#include <cstdint>
#include <string>

#include "core/runtime/object.h"

namespace kavel::services {

/// Paths on the services' host.
class ServicePaths final : public runtime::Object {
 public:
  ServicePaths(const std::string& target, const std::string& scope);

  /// A dotted scope as one component of a path: its parts joined with "-".
  [[nodiscard]] static std::string format_scope(const std::string& scope);

  /// Where the latest release for a host application and scope is found.
  const std::string latest;
  const std::string documentation = "/validator";
  const std::string feedback = "/feedback";
};

/// Whole addresses. They are built anew for each environment and not stored.
class ServiceUrls final : public runtime::Object {
 public:
  ServiceUrls(const std::string& target, const std::string& scope);

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(path); }

  /// A reserved name that no resolver knows: until there is a server, nothing leaves the machine.
  const std::string host = "tools.kavel.invalid";
  const std::int64_t port = 443;
  const runtime::Ref<ServicePaths> path;
  const std::string home = "https://" + host;
  const std::string latest;
  const std::string documentation;
  const std::string documentation_editor;
  const std::string feedback;
};

}  // namespace kavel::services
