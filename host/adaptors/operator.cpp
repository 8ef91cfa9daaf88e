#include "host/adaptors/operator.h"

#include "core/foundation/errors.h"
#include "core/scene/joint.h"
#include "host/adaptors/inquiry.h"
#include "host/runtime/ending.h"

namespace kavel::host {
namespace {

class HostOperator final : public scene::OperatorPort {
 public:
  explicit HostOperator(py::handle object) : object_(to_value(object)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(object_); }
  void drop_references() noexcept override { object_ = Value(); }
  Value object() const override { return object_; }

  std::unique_ptr<scene::Inquiry> inquire() override {
    return std::make_unique<HostInquiry>(to_value(host()));
  }
  bool object_exists(const std::string& path) override {
    return truth_of(ask("object_exists", {to_text(path)}));
  }
  std::string name_from_path(const std::string& path) override {
    return text("name_from_path", {to_text(path)}).value_or("");
  }
  std::optional<std::string> get_parent(const std::string& path) override {
    return text("get_parent", {to_text(path)});
  }
  std::vector<std::string> get_children(const std::string& path) override {
    return paths("get_children", {to_text(path)});
  }

  std::vector<std::string> get_selection() override { return paths("get_selection", {}); }
  std::vector<std::string> get_selection_roots() override {
    return paths("get_selection_roots", {});
  }
  void select(std::span<const std::string> selected) override {
    py::tuple arguments(selected.size());
    for (std::size_t index = 0; index < selected.size(); ++index) {
      arguments[index] = to_text(selected[index]);
    }
    host().attr("select")(*arguments);
  }

  void keep_selection(const std::function<void()>& body) override {
    const OperationName name("selection_manager");
    const py::object manager = call_operation(host(), name);
    if (!py::hasattr(py::type::of(manager), "__exit__")) {
      refuse_result(name, manager, "a context manager");
    }
    with(manager, body);
  }
  bool export_roots(const scene::ExportOrder& order) override {
    py::list roots;
    for (const std::string& root : order.roots) roots.append(to_text(root));
    py::dict flags;
    flags["automatic_uv"] = order.automatic_uv;
    flags["triangulate"] = order.triangulate;
    flags["reset_xforms"] = order.reset_xforms;
    const py::tuple arguments = py::make_tuple(roots, to_text(order.file_path), to_text(order.type),
                                               from_json(order.arguments));
    const py::object answer = call_and_wait(host().attr("export"), arguments, flags);
    return answer.is_none() || truth_of(answer);
  }
  std::optional<std::string> get_current_file() override { return text("get_current_file", {}); }

  Value query_filedata() override {
    const py::object data = ask("query_filedata", {});
    return truth_of(data) ? to_value(data) : Value();
  }
  void embed_filedata(const Value& data) override { ask("embed_filedata", {from_value(data)}); }
  void erase_filedata() override { ask("erase_filedata", {}); }
  void postscript_scan_append(const scene::JointRef& joint) override {
    (void)call_operation(host(), append_, {expose(joint)});
  }
  void postscript_scan_remove(const scene::JointRef& joint) override {
    (void)call_operation(host(), remove_, {expose(joint)});
  }

  void register_scene_opened_callback(const Value& handler) override {
    ask("register_scene_opened_callback", {from_value(handler)});
  }
  std::optional<std::string> directory_dialog(const std::string& starting,
                                              const std::string& caption) override {
    return text("directory_dialog", {to_text(starting), to_text(caption)});
  }

 private:
  /// The host's object, held for as long as a call to it may last.
  [[nodiscard]] py::object host() const {
    if (!object_) {
      throw foundation::Error(foundation::ErrorKind::assertion, "the operator is gone");
    }
    return from_value(object_);
  }
  py::object ask(const char* name, std::initializer_list<py::handle> arguments) const {
    return call_operation(host(), OperationName(name), arguments);
  }
  [[nodiscard]] std::optional<std::string> text(const char* name,
                                                std::initializer_list<py::handle> arguments) const {
    return optional_text_of(OperationName(name), ask(name, arguments));
  }
  [[nodiscard]] std::vector<std::string> paths(const char* name,
                                               std::initializer_list<py::handle> arguments) const {
    return texts_of(OperationName(name), ask(name, arguments));
  }

  Value object_;
  // Called once for each joint.
  const OperationName append_{"postscript_scan_append"};
  const OperationName remove_{"postscript_scan_remove"};
};

}  // namespace

std::unique_ptr<scene::OperatorPort> operator_port(py::handle object) {
  return std::make_unique<HostOperator>(object);
}

}  // namespace kavel::host
