#include "core/services/statistics_http.h"

#include "core/foundation/json_writer.h"
#include "core/runtime/services.h"

namespace kavel::services {

std::string StatisticsRequest::current_user() {
  return runtime::services().system->variable("USERNAME").value_or("");
}

std::string StatisticsRequest::text() const {
  std::string text = "{\"username\": ";
  foundation::append_json(text, std::string_view(username));
  return text + ", \"contents\": " + contents_ + "}";
}

runtime::Value StatisticsRequest::contents() const {
  return runtime::services().json->parse(contents_);
}

}  // namespace kavel::services
