#include "core/foundation/json_file.h"

#include <cstdint>

#include "core/foundation/file_name.h"
#include "core/foundation/logger.h"
#include "core/runtime/services.h"

namespace kavel::foundation {
namespace {

constexpr const char* kCorruptedFolder = ".corrupted";
constexpr double kTickets = 1000000000.0;
/// Bytes that the name of a file may have on the usual file systems.
constexpr std::size_t kLongestName = 255;

bool is_now(const char* class_name) {
  return runtime::services().faults->is(std::current_exception(), class_name);
}

void remove_quietly(const std::string& path) {
  try {
    runtime::services().files->remove(path);
  } catch (...) {
    if (!is_now("OSError")) throw;
  }
}

/// Whether an empty file could be made; a folder that takes no new file may still let us write.
bool made(const std::string& path) {
  try {
    runtime::services().files->touch(path);
    return true;
  } catch (...) {
    if (!is_now("PermissionError")) throw;
    return false;
  }
}

/// The place of the new content beside `target`.
std::string sibling_of(const std::string& target, const std::string& ticket) {
  auto& files = *runtime::services().files;
  const auto [folder, name] = files.split(target);
  const std::string mark = ".tmp." + ticket;
  return name.size() + mark.size() > kLongestName ? files.join(folder, mark) : target + mark;
}

void fill(const std::string& path, const std::string& content) {
  try {
    runtime::services().files->write(path, content);
  } catch (...) {
    remove_quietly(path);
    throw;
  }
}

/// Whether `sibling` took the place of `target`: another program may hold the target open, or a
/// file system may know no permissions.
bool took_place(const std::string& sibling, const std::string& target) {
  auto& files = *runtime::services().files;
  try {
    if (files.exists(target)) files.copy_mode(target, sibling);
    files.replace(sibling, target);
    return true;
  } catch (...) {
    if (is_now("OSError") && !is_now("IsADirectoryError")) return false;
    remove_quietly(sibling);
    throw;
  }
}

/// Writes into the file itself. When that fails half-way the sibling has the only whole copy and
/// stays; a target that was never opened needs none.
void write_in_place(const std::string& target, const std::string& content,
                    const std::string& sibling) {
  auto& files = *runtime::services().files;
  const double size = files.exists(target) ? files.size(target) : 0;
  try {
    files.write(target, content);
  } catch (...) {
    if (files.exists(target) && files.size(target) == size) remove_quietly(sibling);
    throw;
  }
  remove_quietly(sibling);
}

/// A free name in a folder beside the file, which is made when it is missing.
std::string place_beside(const std::string& path, const std::string& name_of_folder) {
  const runtime::Services& services = runtime::services();
  const auto [folder, name] = services.files->split(path);
  const std::string aside = services.files->join(folder, name_of_folder);
  if (!services.files->is_directory(aside)) services.files->make_directory(aside);
  for (double seconds = services.system->time();; ++seconds) {
    std::string place = services.files->join(aside, timed_filename(name, seconds));
    if (!services.files->exists(place) && !services.files->is_link(place)) return place;
  }
}

}  // namespace

void write_content(const std::string& path, const std::string& content, const std::string& ticket) {
  auto& files = *runtime::services().files;
  const std::string target = files.is_link(path) ? files.resolve(path) : path;
  const std::string sibling = sibling_of(target, ticket);
  // Taking the place of a protected file would go around its protection; opening it fails.
  const bool is_protected = files.exists(target) && !files.is_writable(target);
  if (is_protected || !made(sibling)) {
    files.write(target, content);
    return;
  }
  fill(sibling, content);
  if (!took_place(sibling, target)) write_in_place(target, content, sibling);
}

runtime::Value read_json(const std::string& path) {
  return runtime::services().json->parse_file(runtime::services().files->read(path));
}

void write_json(const std::string& path, const runtime::Value& data, const std::string& ticket) {
  runtime::JsonText& json = *runtime::services().json;
  write_content(path, json.dump_file(json.clean(data)), ticket);
}

void write_json(const std::string& path, const runtime::Value& data) {
  write_json(path, data, random_ticket());
}

std::string random_ticket() {
  return std::to_string(static_cast<std::int64_t>(runtime::services().system->random() * kTickets));
}

bool is_no_json(const std::exception_ptr& error) {
  return runtime::services().faults->is(error, "ValueError");
}

void move_corrupted(const std::string& path) {
  guarded([&] { runtime::services().files->replace(path, place_beside(path, kCorruptedFolder)); });
}

void copy_aside(const std::string& path) { (void)copy_beside(path, kCorruptedFolder); }

std::string copy_beside(const std::string& path, const std::string& folder) {
  std::string place = place_beside(path, folder);
  try {
    runtime::services().files->copy(path, place);
  } catch (...) {
    // Half a copy on a full disk would be taken for a whole one.
    remove_quietly(place);
    throw;
  }
  return place;
}

}  // namespace kavel::foundation
