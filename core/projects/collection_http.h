// What the host carries between a collection of projects and a shared server.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "core/foundation/http_answer.h"
#include "core/foundation/json.h"
#include "core/runtime/object.h"

namespace kavel::projects {

/// The body of a request: all projects of a host application.
class ProjectsRequest final : public runtime::Object {
 public:
  ProjectsRequest(std::string of_target, foundation::Json::Array all)
      : target(std::move(of_target)), projects(std::move(all)) {}

  /// {"target", "projects"} in one line.
  [[nodiscard]] std::string text() const;

  const std::string target;
  /// Data of documents with "edit_timestamp".
  const foundation::Json::Array projects;
};

/// The projects in the server's answer. They come from others: only objects with a safe name of a
/// file are taken, whatever else they hold.
class ProjectsResponse final : public runtime::Object {
 public:
  struct Content {
    bool accepted = false;
    /// Empty unless accepted. Each is a map with a safe "filename".
    foundation::Json::Array projects;
    /// Names of the files of all projects that the server has, be they ones that were not taken.
    std::set<std::string> filenames;
  };

  explicit ProjectsResponse(foundation::HttpAnswer& answer) { decode(answer); }

  /// Reads an answer in place of the one before. An answer of another content type is not read; a
  /// body that is no array of projects is logged. Neither is accepted.
  void decode(foundation::HttpAnswer& answer);

  /// Whoever holds it is not disturbed by another answer.
  [[nodiscard]] const std::shared_ptr<const Content>& content() const noexcept { return content_; }

  /// Whether both have the same projects.
  friend bool operator==(const ProjectsResponse& left, const ProjectsResponse& right) {
    return left.content_->projects == right.content_->projects;
  }

 private:
  std::shared_ptr<const Content> content_;
};

/// Name of the file that a project of an answer is for.
[[nodiscard]] const std::string& filename_of(const foundation::Json& project);

}  // namespace kavel::projects
