#include "host/adaptors/exporter_api.h"

#include "host/adaptors/operator.h"
#include "host/foundation/path.h"

namespace kavel::host {
namespace {

using facade::CheckMode;
using facade::ExportMode;

/// The one of `modes` that is equal to a host's value.
template <class Mode>
std::optional<Mode> find_mode(const py::object& value, std::initializer_list<Mode> modes) {
  for (const Mode mode : modes) {
    if (value.equal(py::int_(static_cast<int>(mode)))) return mode;
  }
  return std::nullopt;
}

std::string text_or_empty(const py::object& object) {
  return is_text(object) ? from_text(object) : std::string();
}

std::string path_or_empty(const py::object& object) {
  return object.is_none() ? std::string() : path_text(object);
}

class HostApi final : public exporting::ExporterPort {
 public:
  HostApi(py::handle api, py::handle operator_object, py::handle buffer)
      : api_(to_value(api)), operator_(to_value(operator_object)), buffer_(to_value(buffer)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override {
    visitor(api_);
    visitor(operator_);
    visitor(buffer_);
  }
  void drop_references() noexcept override {
    api_ = Value();
    operator_ = Value();
    buffer_ = Value();
  }
  Value object() const override { return api_; }
  Value operator_object() const override { return operator_; }
  Value buffer() const override { return buffer_; }

  std::optional<ExportMode> mode() override {
    return find_mode(part("settings").attr("export").attr("mode"),
                     {ExportMode::choose, ExportMode::project, ExportMode::local});
  }
  std::optional<CheckMode> check_mode() override {
    return find_mode(part("settings").attr("check").attr("mode"),
                     {CheckMode::selection, CheckMode::project});
  }
  std::string project_directory() override {
    const py::object document = part("project").attr("get_current")();
    const py::object record = document.attr("history").attr("get_record")();
    return path_or_empty(record.attr("export").attr("directory"));
  }
  std::string settings_directory() override {
    return path_or_empty(part("settings").attr("export").attr("directory"));
  }
  std::string decode_user(const std::string& path) override {
    return from_text(part("env").attr("decode_user")(to_text(path)));
  }
  std::vector<exporting::Hierarchy> checked() override {
    const py::object buffer = from_value(buffer_);
    std::vector<exporting::Hierarchy> found;
    for (const Value& value : values(buffer.attr("get_checked")())) {
      const py::object bucket = from_value(value);
      exporting::Hierarchy hierarchy{.name = text_or_empty(bucket.attr("name")), .roots = {}};
      for (const Value& root : values(buffer.attr("get_roots")(bucket.attr("joint")))) {
        std::string path = text_or_empty(from_value(root));
        if (!path.empty()) hierarchy.roots.push_back(std::move(path));
      }
      found.push_back(std::move(hierarchy));
    }
    return found;
  }

  void fire(const char* name) override { part("callbacks").attr(name)(); }
  void record(const exporting::Outcome& outcome) override {
    const py::object store = part("statistics");
    const py::object type = py::module_::import("core").attr("_Statistics").attr("Type");
    store.attr("add")(type.attr("Exported")(to_text(outcome.format), outcome.written,
                                            outcome.skipped, outcome.seconds));
    store.attr("write")();
  }
  std::unique_ptr<scene::OperatorPort> operator_port() override {
    return host::operator_port(from_value(operator_));
  }

 private:
  [[nodiscard]] py::object part(const char* name) const { return from_value(api_).attr(name); }

  Value api_;
  Value operator_;
  Value buffer_;
};

}  // namespace

std::unique_ptr<exporting::ExporterPort> exporter_api(py::handle api, py::handle operator_object,
                                                      py::handle buffer) {
  return std::make_unique<HostApi>(api, operator_object, buffer);
}

}  // namespace kavel::host
