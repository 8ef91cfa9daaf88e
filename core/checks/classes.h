// The registry of the check classes found in the check directories.
#pragma once

#include <map>
#include <string>

#include "core/runtime/list.h"

namespace kavel::checks {

/// Holds the accepted and the denied classes. This version loads none.
class Classes final : public runtime::Object {
 public:
  /// Keeps the check directories, any iterable of theirs.
  explicit Classes(runtime::Value check_directories);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Rebuilds everything from the directories. Not implemented in this version.
  [[noreturn]] void reload();
  /// The class with this identity; an empty value for an unknown one.
  [[nodiscard]] runtime::Value get(const std::string& class_id) const;

  runtime::Value directories;
  /// In order of category and sort index; one list object for life, as is `denied`.
  const runtime::Ref<runtime::List<runtime::Value>> accepted;
  const runtime::Ref<runtime::List<runtime::Value>> denied;

 private:
  std::map<std::string, runtime::Value> by_id_;
};

}  // namespace kavel::checks
