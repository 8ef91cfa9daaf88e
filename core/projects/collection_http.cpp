#include "core/projects/collection_http.h"

#include <vector>

#include "core/foundation/errors.h"
#include "core/foundation/file_name.h"
#include "core/foundation/json_writer.h"
#include "core/foundation/logger.h"
#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::projects {
namespace {

using foundation::Error;
using foundation::ErrorKind;
using foundation::Json;

/// The elements that are refused, as far as a line of the log should name them.
constexpr std::size_t kNamedElements = 5;

/// What stands for the file name of an element; null for none.
const std::string* name_of(const Json& element) {
  const Json* filename = element.find("filename");
  return filename == nullptr ? nullptr : filename->text();
}

void warn_of_refused(const std::vector<std::string>& refused) {
  if (refused.empty()) return;
  std::vector<std::string> named = refused;
  if (named.size() > kNamedElements) named.resize(kNamedElements);
  foundation::log_warning(foundation::format(
      "Projects of the server without a safe file name are left out: {} ({} in all)",
      {foundation::join(named, ", "), std::to_string(refused.size())}));
}

ProjectsResponse::Content taken(const Json& body) {
  if (body.array() == nullptr) {
    throw Error(ErrorKind::type, "the server's projects must be a JSON array");
  }
  ProjectsResponse::Content content{.accepted = true, .projects = {}, .filenames = {}};
  std::vector<std::string> refused;
  for (const Json& element : *body.array()) {
    const std::string* filename = name_of(element);
    if (filename != nullptr) content.filenames.insert(*filename);
    if (filename != nullptr && foundation::is_safe_filename(*filename)) {
      content.projects.push_back(element);
    } else {
      refused.push_back(filename == nullptr ? "none" : "\"" + *filename + "\"");
    }
  }
  warn_of_refused(refused);
  if (content.projects.empty() && !refused.empty()) {
    throw Error(ErrorKind::value, "none of the server's projects has a safe file name");
  }
  return content;
}

}  // namespace

std::string ProjectsRequest::text() const {
  std::string text = "{\"target\": ";
  foundation::append_json(text, std::string_view(target));
  text += ", \"projects\": ";
  foundation::append_json(text, Json(projects), foundation::kOneLine);
  return text + "}";
}

void ProjectsResponse::decode(foundation::HttpAnswer& answer) {
  content_ = std::make_shared<Content>();
  foundation::guarded([&] {
    if (answer.content_type() != foundation::kJsonContent) return;
    runtime::JsonText& json = *runtime::services().json;
    content_ = std::make_shared<Content>(taken(json.to_json(json.parse_file(answer.body()))));
  });
}

const std::string& filename_of(const Json& project) { return *name_of(project); }

}  // namespace kavel::projects
