#include "core/services/service_urls.h"

#include "core/foundation/text.h"

namespace kavel::services {

ServicePaths::ServicePaths(const std::string& target, const std::string& scope)
    : latest(foundation::format("/validator/downloads/{}/{}/latest/",
                                {target, format_scope(scope)})) {}

std::string ServicePaths::format_scope(const std::string& scope) {
  return foundation::join(foundation::split(scope, "."), "-");
}

ServiceUrls::ServiceUrls(const std::string& target, const std::string& scope)
    : path(runtime::make<ServicePaths>(target, scope)),
      latest(home + path->latest),
      documentation(home + path->documentation),
      documentation_editor(documentation + "/#project-editor"),
      feedback(home + path->feedback) {}

}  // namespace kavel::services
