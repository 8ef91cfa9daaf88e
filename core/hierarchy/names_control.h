// The registry of names in use, which grants each new object a name of its own.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "core/runtime/object.h"

namespace kavel::hierarchy {

/// A set of names; names are compared exactly.
class NamesControl final : public runtime::Object {
 public:
  [[nodiscard]] bool exists(const std::string& name) const { return names_.contains(name); }
  void append(const std::string& name) { names_.insert(name); }
  /// Nothing happens when the name is unknown.
  void remove(const std::string& name) { names_.erase(name); }
  /// Removes the one and appends the other; grants nothing.
  void rename(const std::string& removed, const std::string& appended);
  void clear() noexcept { names_.clear(); }

  /// `name` itself while it is free, else the next free variant of it; registers nothing.
  [[nodiscard]] std::string get_init(const std::string& name) const;
  /// `name` with its number counted on, or with one appended: "arm" and "arm 1" give "arm 2" when
  /// both are taken. Greater than any number that a registered name of the same stem bears.
  [[nodiscard]] std::string get_next(const std::string& name) const;
  /// Registered names that contain `name` or occur in it, sorted.
  [[nodiscard]] std::vector<std::string> get_alike(const std::string& name) const;

  [[nodiscard]] const std::set<std::string>& names() const noexcept { return names_; }

 private:
  std::set<std::string> names_;
};

}  // namespace kavel::hierarchy
