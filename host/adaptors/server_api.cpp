#include "host/adaptors/server_api.h"

#include "host/projects/projects.h"

namespace kavel::host {
namespace {

using projects::ProjectsResponse;

class HostServerApi final : public services::ServerPort {
 public:
  explicit HostServerApi(py::handle api) : api_(to_value(api)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(api_); }
  void drop_references() noexcept override { api_ = Value(); }
  [[nodiscard]] Value object() const override { return api_; }

  [[nodiscard]] Value projects_request() override {
    return to_value(collection().attr("create_http_request")());
  }
  [[nodiscard]] Ref<ProjectsResponse> read_projects(const Value& response) override {
    return projects_response(from_value(response));
  }
  bool accept_projects(const Ref<ProjectsResponse>& answer) override {
    return !collection().attr("accept_http_response")(expose(answer)).is(py::bool_(false));
  }
  void load_current_project() override {
    const py::object project = part("project");
    project.attr("load")(project.attr("get_current")().attr("filename"));
  }

  [[nodiscard]] Value statistics_request() override {
    return to_value(part("statistics").attr("create_http_request")());
  }
  void accept_statistics(const Value& response, bool clear) override {
    part("statistics").attr("accept_http_response")(from_value(response), clear);
  }
  [[nodiscard]] bool erases_sent_statistics() override {
    return py::bool_(part("settings").attr("server").attr("erase_sent"));
  }

  void fire(const char* name) override { part("callbacks").attr(name)(); }

 private:
  [[nodiscard]] py::object part(const char* name) const { return from_value(api_).attr(name); }
  [[nodiscard]] py::object collection() const { return part("project").attr("collection"); }

  Value api_;
};

}  // namespace

std::unique_ptr<services::ServerPort> server_api(py::handle api) {
  return std::make_unique<HostServerApi>(api);
}

}  // namespace kavel::host
