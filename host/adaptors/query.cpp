#include "host/adaptors/query.h"

#include "core/scene/virtual.h"
#include "host/adaptors/calls.h"

namespace kavel::host {
namespace {

using scene::Id;

class HostQuery final : public scene::QueryPort {
 public:
  explicit HostQuery(py::handle object) : object_(to_value(object)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(object_); }

  scene::Snapshot& table() override { return table_; }

  void locate(std::span<const Id> roots, std::vector<Id>& existing) override {
    py::list paths;
    for (const Id id : roots) paths.append(to_text(table_.path(id)));
    const py::object locations = call_operation(host(), OperationName("get_locations"), {paths});
    for (const py::handle location : py::iter(locations)) existing.push_back(store(location));
  }

  std::optional<std::string> parent(const std::string& path) override {
    return ask(host(), "get_parent", path);
  }
  std::string type(const std::string& path) override {
    return ask(host(), "get_type", path).value_or("");
  }
  std::string name(const std::string& path) override {
    const py::object self = host();
    const bool named = py::hasattr(self, "name_from_path");
    return ask(named ? self : py::object(self.attr("_operator")), "name_from_path", path)
        .value_or("");
  }

 private:
  [[nodiscard]] py::object host() const { return from_value(object_); }

  static std::optional<std::string> ask(const py::object& asked, const char* operation,
                                        const std::string& path) {
    const OperationName name(operation);
    return optional_text_of(name, call_operation(asked, name, {to_text(path)}));
  }

  Id store(py::handle location) {
    // Everything is read before the table changes: reading runs foreign code.
    const std::string path = from_text(location.attr("path"));
    const std::string name = from_text(location.attr("name"));
    const auto type = location.attr("type").cast<std::optional<std::string>>().value_or("");
    const std::vector<std::string> paths = texts(location.attr("children"));
    std::vector<Id> children;
    children.reserve(paths.size());
    for (const std::string& child : paths) children.push_back(table_.intern(child));
    const Id id = table_.intern(path);
    table_.store(id, name, type, scene::kNoId, children);
    return id;
  }

  scene::Snapshot table_;
  Value object_;
};

/// A class derived from the virtual scene may answer in its own way.
bool is_plain_virtual(py::handle object) {
  const auto plain = py::module_::import("core").attr("Scene").attr("_Virtual");
  return py::type::of(object).is(plain);
}

}  // namespace

std::unique_ptr<scene::QueryPort> query_port(py::handle object) {
  if (!is_plain_virtual(object)) return std::make_unique<HostQuery>(object);
  return std::make_unique<scene::VirtualQuery>(object.cast<Ref<scene::Virtual>>());
}

}  // namespace kavel::host
