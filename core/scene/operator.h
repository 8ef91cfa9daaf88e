// What the core asks of the host's operator. Its errors reach the caller untouched.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/foundation/json.h"
#include "core/runtime/object.h"

namespace kavel::scene {

class Joint;

/// A text of the host and the host's own object for it.
struct Mention {
  std::string_view text;
  runtime::Value object;
};

/// What the operator says of one object; views of texts last until the next question.
struct Facts {
  /// Nothing else is known of an object that does not exist.
  bool exists = false;
  std::string_view name;
  /// Unified type, empty for none.
  std::string_view type;
  /// Empty for none.
  std::string_view parent;
  std::vector<Mention> children;
};

/// A run of questions about many objects. The host's own path objects are handed back to it, so
/// no text is made anew for an object that the host has named.
class Inquiry {
 public:
  virtual ~Inquiry() = default;
  /// The host's object for a path that the core names.
  [[nodiscard]] virtual runtime::Value mention(std::string_view path) = 0;
  /// The text of a path; lasts until the next question.
  [[nodiscard]] virtual std::string_view text(const runtime::Value& path) = 0;
  /// Asks for existence, name, type, parent and children, in this order; of a missing object only
  /// for existence. The caller may take the children out. Runs foreign code.
  virtual Facts& ask(const runtime::Value& path) = 0;
};

/// A file that the operator is to write.
struct ExportOrder {
  /// Paths of the objects that go into it with their descendants.
  std::vector<std::string> roots;
  std::string file_path;
  /// The format's attribute name.
  std::string type;
  /// {attribute name: value} of all the format's options.
  foundation::Json arguments;
  bool automatic_uv = false;
  bool triangulate = false;
  bool reset_xforms = false;
};

class OperatorPort {
 public:
  virtual ~OperatorPort() = default;
  virtual void each_reference([[maybe_unused]] runtime::ReferenceVisitor& visitor) const {}
  /// Lets go of the host's object; every later question throws.
  virtual void drop_references() noexcept {}
  /// The host's object itself.
  [[nodiscard]] virtual runtime::Value object() const = 0;

  [[nodiscard]] virtual std::unique_ptr<Inquiry> inquire() = 0;
  [[nodiscard]] virtual bool object_exists(const std::string& path) = 0;
  [[nodiscard]] virtual std::string name_from_path(const std::string& path) = 0;
  /// Nothing for none and for an empty text.
  [[nodiscard]] virtual std::optional<std::string> get_parent(const std::string& path) = 0;
  /// Empty for none.
  [[nodiscard]] virtual std::vector<std::string> get_children(const std::string& path) = 0;

  [[nodiscard]] virtual std::vector<std::string> get_selection() = 0;
  [[nodiscard]] virtual std::vector<std::string> get_selection_roots() = 0;
  virtual void select(std::span<const std::string> paths) = 0;

  /// Runs `body` inside the operator's scope that keeps the selection. An error of the body leaves
  /// it unless the scope takes it.
  virtual void keep_selection(const std::function<void()>& body) = 0;
  /// Whether it answers nothing or anything true, as hosts that need no answer give none.
  [[nodiscard]] virtual bool export_roots(const ExportOrder& order) = 0;
  /// Nothing while the scene has no file.
  [[nodiscard]] virtual std::optional<std::string> get_current_file() = 0;

  /// The embedded data, an empty value when there is none or it is empty.
  [[nodiscard]] virtual runtime::Value query_filedata() = 0;
  virtual void embed_filedata(const runtime::Value& data) = 0;
  virtual void erase_filedata() = 0;
  virtual void postscript_scan_append(const runtime::Ref<Joint>& joint) = 0;
  virtual void postscript_scan_remove(const runtime::Ref<Joint>& joint) = 0;

  virtual void register_scene_opened_callback(const runtime::Value& handler) = 0;
  /// Nothing when the user picks none.
  [[nodiscard]] virtual std::optional<std::string> directory_dialog(const std::string& starting,
                                                                    const std::string& caption) = 0;
};

}  // namespace kavel::scene
