// The server component: request bodies out, responses in; the host carries both, on a thread and
// schedule of its own.
#pragma once

#include <memory>

#include "core/projects/collection_http.h"
#include "core/runtime/object.h"

namespace kavel::services {

/// What the server component uses of the facade.
class ServerPort {
 public:
  virtual ~ServerPort() = default;
  virtual void each_reference([[maybe_unused]] runtime::ReferenceVisitor& visitor) const {}
  virtual void drop_references() noexcept {}
  /// The host's object.
  [[nodiscard]] virtual runtime::Value object() const = 0;

  [[nodiscard]] virtual runtime::Value projects_request() = 0;
  [[nodiscard]] virtual runtime::Ref<projects::ProjectsResponse> read_projects(
      const runtime::Value& response) = 0;
  /// Hands an answer to the collection; false when part of it could not be taken over.
  virtual bool accept_projects(const runtime::Ref<projects::ProjectsResponse>& answer) = 0;
  /// Loads the current project, in case it has changed or is gone.
  virtual void load_current_project() = 0;

  [[nodiscard]] virtual runtime::Value statistics_request() = 0;
  virtual void accept_statistics(const runtime::Value& response, bool clear) = 0;
  /// Whether records that the server has are erased here.
  [[nodiscard]] virtual bool erases_sent_statistics() = 0;

  /// Calls the notification list of that name.
  virtual void fire(const char* name) = 0;
};

/// Every operation may be called from the host's network thread; notifications are fired there.
class Server final : public runtime::Object {
 public:
  explicit Server(std::unique_ptr<ServerPort> api) : api_(std::move(api)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  [[nodiscard]] const ServerPort& api() const noexcept { return *api_; }
  /// The last answer with projects; null before the first, and when it must be taken over once
  /// more.
  [[nodiscard]] const runtime::Ref<projects::ProjectsResponse>& last_projects() const noexcept {
    return last_projects_;
  }

  [[nodiscard]] runtime::Value projects_request() { return api_->projects_request(); }
  /// Takes an accepted answer over, loads the current project and fires "projects_synchronized";
  /// nothing of that for the same projects as last time. Fires "projects_response_closed" in every
  /// case. Failures are logged, and the next answer is taken over whatever it is.
  void projects_response(const runtime::Value& response);
  [[nodiscard]] runtime::Value statistics_request() { return api_->statistics_request(); }
  void statistics_response(const runtime::Value& response);
  /// The host could not reach the server: fires "http_no_response".
  void http_no_response() { api_->fire("http_no_response"); }

 private:
  void take_over(const runtime::Value& response);
  void close();

  std::unique_ptr<ServerPort> api_;
  runtime::Ref<projects::ProjectsResponse> last_projects_;
};

}  // namespace kavel::services
