#include "host/adaptors/scene_api.h"

namespace kavel::host {
namespace {

class HostApi final : public scene::ApiPort {
 public:
  explicit HostApi(py::handle api) : api_(to_value(api)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(api_); }
  void drop_references() noexcept override { api_ = Value(); }
  Value object() const override { return api_; }

  std::string decode_user(const std::string& path) override {
    return from_text(part("env").attr("decode_user")(to_text(path)));
  }
  std::string encode_user(const std::string& path) override {
    return from_text(part("env").attr("encode_user")(to_text(path)));
  }
  std::optional<std::string> current_project() override {
    const py::object document = part("project").attr("get_current")();
    if (document.is_none()) return std::nullopt;
    return from_text(document.attr("filename"));
  }
  bool project_exists(const std::string& filename) override {
    return py::bool_(part("project").attr("is_exists")(to_text(filename)));
  }
  void load_project(const std::string& filename) override {
    part("project").attr("load")(to_text(filename));
  }

 private:
  [[nodiscard]] py::object part(const char* name) const { return from_value(api_).attr(name); }

  Value api_;
};

}  // namespace

std::unique_ptr<scene::ApiPort> scene_api(py::handle api) { return std::make_unique<HostApi>(api); }

}  // namespace kavel::host
