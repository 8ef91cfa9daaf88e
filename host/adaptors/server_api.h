// The facade as the server component uses it: any object with the same attributes.
#pragma once

#include <memory>

#include "core/services/server.h"
#include "host/py.h"

namespace kavel::host {

/// Uses `project.collection` (`create_http_request()`, `accept_http_response(response)`, where an
/// answer of exactly false asks for another try), `project.get_current().filename`,
/// `project.load(filename)`, `statistics` (`create_http_request()`,
/// `accept_http_response(response, clear)`), `settings.server.erase_sent` and `callbacks`. Held by
/// one owner, which shows it to the collector.
[[nodiscard]] std::unique_ptr<services::ServerPort> server_api(py::handle api);

}  // namespace kavel::host
