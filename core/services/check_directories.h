// The folders that check classes are loaded from: those of the user, and the one that ships with
// the host.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/foundation/json.h"
#include "core/runtime/object.h"

namespace kavel::services {

/// One folder. Its path is absolute and normalised and never changes.
class CheckDirectory final : public runtime::Object {
 public:
  CheckDirectory(const std::string& folder, std::string label, bool is_enabled = true,
                 bool is_locked = false);

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(text); }
  void drop_references() noexcept override { text = runtime::Value(); }

  /// {"name", "path", "enabled"}.
  [[nodiscard]] foundation::Json data() const;

  [[nodiscard]] bool enabled() const noexcept { return enabled_; }
  /// Nothing happens to a locked one.
  void set_enabled(bool enabled) noexcept {
    if (!locked) enabled_ = enabled;
  }

  const std::string path;
  const std::string name;
  /// Cannot be disabled or removed by the user.
  const bool locked;
  /// For the host only: the text object that stands for this folder, once there is one.
  runtime::Value text;

 private:
  bool enabled_;
};

/// The user's folders in their order, and one embedded folder, which comes first in iteration but
/// counts neither in the order nor in the data. Folders that do not exist are refused.
class CheckDirectories final : public runtime::Object {
 public:
  using Entry = runtime::Ref<CheckDirectory>;

  CheckDirectories() = default;
  explicit CheckDirectories(const foundation::Json& data) { load(data); }

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Makes the folder of a module's file the embedded one: named "Default", enabled and locked.
  /// Without a file there is none.
  void embed(const std::optional<std::string>& module_file);

  /// Whether `path` is a folder that exists.
  [[nodiscard]] static bool is_approved(const std::string& path);

  // Each answers whether the folder was accepted.
  bool add(const std::string& name, const std::string& path, bool enabled = true);
  bool append(const Entry& directory);
  /// Before the folder at `index`, which counts from the end when it is negative.
  bool insert(std::ptrdiff_t index, const Entry& directory);

  void extend(const std::vector<Entry>& directories);
  /// Removes a folder; nothing happens when it is not among the user's.
  void remove(const Entry& directory);

  /// The left list's folders, then the right one's; the first embedded one of the two.
  [[nodiscard]] static runtime::Ref<CheckDirectories> sum(const CheckDirectories& left,
                                                          const CheckDirectories& right);

  /// Replaces the user's folders by the stored ones, in order. A relative path is made absolute,
  /// with a warning; an element that is no such map, and a folder that is gone, are left out.
  void load(const foundation::Json& data);
  [[nodiscard]] foundation::Json data() const;
  /// The data with what was gone when it was loaded: its drive may only be missing for a while.
  [[nodiscard]] foundation::Json file_data() const;

  /// The user's folders.
  [[nodiscard]] const std::vector<Entry>& entries() const noexcept { return entries_; }
  /// The embedded folder, then the user's: a snapshot.
  [[nodiscard]] std::vector<Entry> all() const;

 private:
  Entry embedded_;
  std::vector<Entry> entries_;
  /// Data of the folders that were gone.
  foundation::Json::Array lost_;
};

}  // namespace kavel::services
