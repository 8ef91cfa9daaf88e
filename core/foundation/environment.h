// Where a host keeps its files: the form of a path that does not depend on the user's account, the
// folders of the local default, and the variables that child processes read.
#pragma once

#include <optional>
#include <string>

namespace kavel::foundation {

/// Folder below the user's home (or beside the module) that holds everything of the core.
inline constexpr const char* kServiceFolder = ".kavel";

/// `path` normalised, with forward slashes and "~" for every occurrence of the normalised `home`,
/// wherever it stands. Throws a type error without a home; an empty one counts as none.
[[nodiscard]] std::string encode_user(const std::string& path,
                                      const std::optional<std::string>& home);
/// The way back: every "~" becomes the normalised `home`. Throws like `encode_user`.
[[nodiscard]] std::string decode_user(const std::string& path,
                                      const std::optional<std::string>& home);

/// `parent` joined with `name`; the folder is made (one level) when it is missing. Throws the
/// operating system's error, and a type error without a parent or with an empty one.
[[nodiscard]] std::string ensure_folder(const std::optional<std::string>& parent,
                                        const std::string& name);

/// The folders of the local default.
struct LocalFolders {
  std::string settings;
  std::string projects;
};
/// Makes the missing ones below `root`.
[[nodiscard]] LocalFolders make_local_folders(const std::string& root, const std::string& target);

/// Name of the operating system and its release, with nothing between.
[[nodiscard]] std::string system_scope();

/// Publishes the identity of a host to its child processes, replacing what was there.
void publish_settings(const std::string& directory);
void publish_target(const std::string& target);
void publish_scope(const std::string& scope);

}  // namespace kavel::foundation
