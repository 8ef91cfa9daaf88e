#include "core/services/server.h"

#include "core/foundation/logger.h"

namespace kavel::services {

using projects::ProjectsResponse;
using runtime::Ref;
using runtime::Value;

void Server::each_reference(runtime::ReferenceVisitor& visitor) const {
  api_->each_reference(visitor);
  visitor(last_projects_);
}

void Server::drop_references() noexcept {
  api_->drop_references();
  last_projects_ = nullptr;
}

void Server::projects_response(const Value& response) {
  try {
    if (!foundation::guarded([&] { take_over(response); })) last_projects_ = nullptr;
  } catch (...) {
    // An interrupt. Whoever waits for the end of the exchange waits for it all the same.
    last_projects_ = nullptr;
    close();
    throw;
  }
  close();
}

void Server::take_over(const Value& response) {
  const Ref<ProjectsResponse> answer = api_->read_projects(response);
  const Ref<ProjectsResponse> last = last_projects_;
  const bool is_accepted = answer->content()->accepted;
  // A refused answer has no projects, as an accepted one may have none.
  if (last && last->content()->accepted == is_accepted && *last == *answer) return;
  last_projects_ = answer;
  if (!is_accepted) return;
  const bool is_complete = api_->accept_projects(answer);
  api_->load_current_project();
  api_->fire("projects_synchronized");
  if (!is_complete) last_projects_ = nullptr;
}

void Server::close() {
  foundation::guarded([this] { api_->fire("projects_response_closed"); });
}

void Server::statistics_response(const Value& response) {
  api_->accept_statistics(response, api_->erases_sent_statistics());
}

}  // namespace kavel::services
