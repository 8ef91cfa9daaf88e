// Modules of plug-ins: files that the interpreter loads as modules of their own, whatever else
// bears the same name.
#pragma once

#include <string>
#include <vector>

#include "core/runtime/value.h"

namespace kavel::runtime {

/// A module or package found in a folder.
struct ModuleEntry {
  std::string name;
  bool is_package = false;
  /// What the interpreter loads it with.
  Value importer;
};

class Modules {
 public:
  virtual ~Modules() = default;

  /// Forgets what is known of folders and files: they may have changed a moment ago.
  virtual void refresh() = 0;
  /// The modules and packages in a folder, by name.
  [[nodiscard]] virtual std::vector<ModuleEntry> list(const std::string& directory) = 0;
  /// Where a module's code stands; the place that it would have when it cannot be found.
  [[nodiscard]] virtual std::string file(const ModuleEntry& entry) = 0;

  /// Runs a module's code anew, from its source. While it runs and afterwards, others find it under
  /// its bare name, unless a module that was not loaded here bears that name or would be found
  /// under it: one of the interpreter's own or one on its search path. A module that is put there
  /// is added to `ours`. Throws what the code raises; nothing is left behind then.
  [[nodiscard]] virtual Value load(const ModuleEntry& entry, std::vector<Value>& ours) = 0;
  /// Takes away those of `ours` that are still found under their names.
  virtual void forget(const std::vector<Value>& ours) = 0;
  /// Puts those back under their names whose names nobody else has taken meanwhile.
  virtual void restore(const std::vector<Value>& ours) = 0;
};

}  // namespace kavel::runtime
