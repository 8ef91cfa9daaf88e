// Where an export writes: file names that stay in their folder whatever a scene calls its objects,
// and versions that no file and no other export has.
//
// While a version is being written, an empty file with the ending ".reserved" stands beside its
// place. It is made exclusively, so of all programs that export into a folder at once, on any
// machine, each gets a version of its own; the place itself stays free, as exporters expect it.
// Where a program died, its mark stays and the version is passed over.
#pragma once

#include <functional>
#include <string>

#include "core/export/version.h"

namespace kavel::exporting {

/// `name` as one component of a path on every system: separators, "|", ":", control characters and
/// lone surrogates become "_", as do dots and blanks at both ends; the name of a device gets a "_"
/// in front; "export" for an empty name.
[[nodiscard]] std::string file_stem(const std::string& name);

/// The files that exports of one name in one format make in a folder.
class Target {
 public:
  /// `name` may be any text, `type` names the format.
  Target(std::string directory, const std::string& name, const std::string& type);

  /// Normalised, with the format in lower case as its extension. Throws a value error where that
  /// is outside of the folder.
  [[nodiscard]] std::string path() const;
  [[nodiscard]] std::string path(const Version& version) const;

  /// One above the highest version among the files of the folder whose name begins like this one,
  /// read as an expression or as it stands, and whose extension is in one case throughout; raised
  /// while its path is taken. Throws when the folder cannot be listed.
  [[nodiscard]] Version free_version() const;
  /// Calls `body` with the path of a version that is reserved for as long as that takes.
  void with_free_version(const std::function<void(const std::string& path)>& body) const;

 private:
  [[nodiscard]] std::string path_of(const std::string& stem) const;
  [[nodiscard]] std::string reserve() const;

  std::string directory_;
  std::string stem_;
  std::string type_;
};

}  // namespace kavel::exporting
