#include "core/projects/collection_http.h"

#include <optional>
#include <utility>
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
using runtime::Value;

/// The elements that are refused, as far as a line of the log should name them.
constexpr std::size_t kNamedElements = 5;

/// What stands for the file name of an element; nothing for none.
std::optional<std::string> name_of(const Value& element) {
  runtime::PlainData& data = *runtime::services().data;
  if (!data.is_map(element)) return std::nullopt;
  return data.text(data.entry(element, data.make_text("filename")));
}

/// A project of the answer; nothing for one that cannot be used. One that is nested too deeply
/// must not keep all others from being taken over.
std::optional<Json> project_of(const Value& element, const std::optional<std::string>& filename) {
  if (!filename || !foundation::is_safe_filename(*filename)) return std::nullopt;
  try {
    return runtime::services().json->to_json(element);
  } catch (const Error& error) {
    if (error.kind() != ErrorKind::recursion) throw;
    return std::nullopt;
  }
}

void warn_of_refused(const std::vector<std::string>& refused) {
  if (refused.empty()) return;
  std::vector<std::string> named = refused;
  if (named.size() > kNamedElements) named.resize(kNamedElements);
  foundation::log_warning(foundation::format(
      "Projects of the server without a safe file name, or nested too deeply, are left out: "
      "{} ({} in all)",
      {foundation::join(named, ", "), std::to_string(refused.size())}));
}

ProjectsResponse::Content taken(const Value& body) {
  const auto elements = runtime::services().data->elements(body);
  if (!elements) throw Error(ErrorKind::type, "the server's projects must be a JSON array");
  ProjectsResponse::Content content{.accepted = true, .projects = {}, .filenames = {}};
  std::vector<std::string> refused;
  for (const Value& element : *elements) {
    const std::optional<std::string> filename = name_of(element);
    if (filename) content.filenames.insert(*filename);
    if (std::optional<Json> project = project_of(element, filename)) {
      content.projects.push_back(*std::move(project));
    } else {
      refused.push_back(filename ? "\"" + *filename + "\"" : "none");
    }
  }
  warn_of_refused(refused);
  if (content.projects.empty() && !refused.empty()) {
    throw Error(ErrorKind::value, "none of the server's projects can be used");
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
    const Value body = runtime::services().json->parse_file(answer.body());
    content_ = std::make_shared<Content>(taken(body));
  });
}

const std::string& filename_of(const Json& project) { return *project.find("filename")->text(); }

}  // namespace kavel::projects
