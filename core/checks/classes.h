// The registry of the check classes found in the check directories.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/checks/class_loader.h"
#include "core/runtime/list.h"

namespace kavel::checks {

/// Holds the accepted and the denied classes, and what became of everything that was found. The
/// lists are one object each for life.
class Classes final : public runtime::Object {
 public:
  /// Loads the classes at once.
  explicit Classes(std::unique_ptr<ClassSource> source);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Rebuilds everything from the directories; called by a module while it is loaded, it does
  /// nothing. An interrupt, or directories that cannot be read, leave everything as it was.
  void reload();
  /// The class with this identity; an empty value for an unknown one.
  [[nodiscard]] Value get(const std::string& class_id) const;

  [[nodiscard]] const ClassSource& source() const noexcept { return *source_; }
  /// The directory that was searched last; empty before.
  [[nodiscard]] const Value& directory() const noexcept { return directory_; }
  [[nodiscard]] const std::map<std::string, Value>& table() const noexcept { return table_; }
  /// How often the classes were loaded: who holds classes compares it.
  [[nodiscard]] std::int64_t reloads() const noexcept { return reloads_; }

  /// In order of category and sort index.
  const Ref<runtime::List<Value>> accepted;
  const Ref<runtime::List<Value>> denied;
  /// In the order of the search.
  const Ref<runtime::List<Ref<ClassReport>>> report;

 private:
  void publish(ClassLoader& loader);

  std::unique_ptr<ClassSource> source_;
  Value directory_;
  std::map<std::string, Value> table_;
  /// Modules that are registered under their bare names.
  std::vector<Value> modules_;
  std::int64_t reloads_ = 0;
  bool is_loading_ = false;
};

}  // namespace kavel::checks
