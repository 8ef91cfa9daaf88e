#include "core/foundation/environment.h"

#include "core/foundation/errors.h"
#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::foundation {
namespace {

const std::string& required(const std::optional<std::string>& home) {
  // Normalising "" would give "." and replace every dot of a path.
  if (!home || home->empty()) {
    throw Error(ErrorKind::type, "the user's home is not known: USERPROFILE is not set");
  }
  return *home;
}

std::string translated(const std::string& path, const std::string& old,
                       const std::string& replacement) {
  const std::string normal = runtime::services().files->normalise(path);
  return replace_all(replace_all(normal, old, replacement), "\\", "/");
}

}  // namespace

std::string encode_user(const std::string& path, const std::optional<std::string>& home) {
  return translated(path, runtime::services().files->normalise(required(home)), "~");
}

std::string decode_user(const std::string& path, const std::optional<std::string>& home) {
  return translated(path, "~", runtime::services().files->normalise(required(home)));
}

std::string ensure_folder(const std::optional<std::string>& parent, const std::string& name) {
  auto& files = *runtime::services().files;
  const std::string path = files.join(required(parent), name);
  if (!files.is_directory(path)) files.make_directory(path);
  return path;
}

LocalFolders make_local_folders(const std::string& root, const std::string& target) {
  LocalFolders folders;
  folders.settings = ensure_folder(root, target);
  folders.projects = ensure_folder(folders.settings, "projects");
  return folders;
}

std::string system_scope() {
  auto& system = *runtime::services().system;
  return system.platform_name() + system.platform_release();
}

void publish_settings(const std::string& directory) {
  runtime::services().system->set_variable("KAVEL-SETTINGS", directory);
}
void publish_target(const std::string& target) {
  runtime::services().system->set_variable("KAVEL-TARGET", target);
}
void publish_scope(const std::string& scope) {
  runtime::services().system->set_variable("KAVEL-SCOPE", scope);
}

}  // namespace kavel::foundation
