#include "host/adaptors/query.h"

namespace kavel::host {
namespace {

using scene::Id;

/// Any object of the host: its answers are gathered in a table of the port's own.
class ObjectQuery final : public scene::QueryPort {
 public:
  explicit ObjectQuery(const py::object& query) : query_(to_value(query)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(query_); }

  scene::Snapshot& table() override { return table_; }

  std::vector<Id> locate(std::span<const Id> roots) override {
    py::list paths;
    for (const Id root : roots) paths.append(to_text(table_.path(root)));
    std::vector<Id> found;
    for (const py::handle location : ask("get_locations", paths)) found.push_back(store(location));
    return found;
  }

  std::optional<std::string> parent(const std::string& path) override {
    const py::object answer = ask("get_parent", to_text(path));
    if (answer.is_none() || !is_text(answer)) return std::nullopt;
    std::string text = from_text(answer);
    if (text.empty()) return std::nullopt;
    return text;
  }

  std::string type(const std::string& path) override {
    const py::object answer = ask("get_type", to_text(path));
    return is_text(answer) ? from_text(answer) : std::string();
  }

  std::string name(const std::string& path) override {
    return from_text(ask("name_from_path", to_text(path)));
  }

 private:
  py::object ask(const char* operation, const py::object& argument) const {
    return from_value(query_).attr(operation)(argument);
  }

  Id store(py::handle location) {
    const Id id = table_.intern(from_text(location.attr("path")));
    std::vector<Id> children;
    for (const std::string& child : texts(location.attr("children"))) {
      children.push_back(table_.intern(child));
    }
    const py::object type = location.attr("type");
    table_.store(id, from_text(location.attr("name")),
                 is_text(type) ? from_text(type) : std::string(), scene::kNoId, children);
    return id;
  }

  Value query_;
  scene::Snapshot table_;
};

}  // namespace

std::unique_ptr<scene::QueryPort> query_port(const py::object& query) {
  return std::make_unique<ObjectQuery>(query);
}

}  // namespace kavel::host
