#include "core/export/target.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "core/foundation/errors.h"
#include "core/foundation/file_name.h"
#include "core/foundation/logger.h"
#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::exporting {
namespace {

using Expression = std::shared_ptr<const runtime::Expression>;

constexpr const char* kUnnamed = "export";
constexpr const char* kMark = ".reserved";

/// Nothing for a text that is no expression.
Expression compile_if_valid(const std::string& text) {
  try {
    return runtime::services().regex->compile(text);
  } catch (...) {
    if (!runtime::services().faults->report(std::current_exception())) throw;
    return nullptr;
  }
}

/// What finds the files of `stem`, a name that is an expression as well or is not.
std::vector<Expression> expressions(const std::string& stem, const std::string& ending) {
  const std::string plain = runtime::services().regex->escape(stem);
  std::vector<Expression> result = {compile_if_valid("^" + plain + ".*" + ending)};
  if (plain == stem) return result;
  if (auto raw = compile_if_valid("^" + stem + ".*" + ending)) result.push_back(std::move(raw));
  return result;
}

bool is_taken(const std::string& path) {
  runtime::Files& files = *runtime::services().files;
  // A link that leads nowhere would be written through.
  return files.exists(path) || files.is_link(path);
}

void release(const std::string& path) {
  foundation::guarded([&] { runtime::services().files->remove(path + kMark); });
}

}  // namespace

std::string file_stem(const std::string& name) {
  std::string stem;
  for (std::size_t position = 0; position < name.size();) {
    const char32_t character = foundation::next_code_point(name, position);
    const bool is_kept = character != U'|' && !foundation::is_forbidden_in_name(character);
    foundation::append_code_point(stem, is_kept ? character : U'_');
  }
  const auto is_edge = [](char character) { return character == '.' || character == ' '; };
  const auto last = std::ranges::find_if_not(stem.rbegin(), stem.rend(), is_edge).base();
  const auto first = std::find_if_not(stem.begin(), last, is_edge);
  std::fill(stem.begin(), first, '_');
  std::fill(last, stem.end(), '_');
  if (stem.empty()) return kUnnamed;
  return foundation::is_device_name(stem) ? "_" + stem : stem;
}

Target::Target(std::string directory, const std::string& name, const std::string& type)
    : directory_(std::move(directory)), stem_(file_stem(name)), type_(type) {}

std::string Target::path() const { return path_of(stem_); }

std::string Target::path(const Version& version) const {
  return path_of(stem_ + ".v" + version.text());
}

std::string Target::path_of(const std::string& stem) const {
  runtime::Files& files = *runtime::services().files;
  const std::string name = stem + "." + runtime::services().unicode->lower(type_);
  const std::string path = files.normalise(files.join(directory_, name));
  const auto [folder, file] = files.split(path);
  if (file != name || files.normalise(folder) != files.normalise(directory_)) {
    throw foundation::Error(foundation::ErrorKind::value,
                            "the file \"" + name + "\" is not in the folder of the export");
  }
  return path;
}

Version Target::free_version() const {
  runtime::Services& services = runtime::services();
  const std::string lower = services.unicode->lower(type_);
  const std::string upper = services.unicode->upper(type_);
  const std::string ending =
      "\\.(" + services.regex->escape(lower) + "|" + services.regex->escape(upper) + ")$";
  const Expression extension = services.regex->compile(ending);
  const Expression number = services.regex->compile("\\d+$");
  const std::vector<Expression> own = expressions(stem_, ending);
  Version version;
  for (const std::string& file : services.files->list(directory_)) {
    const auto is_match = [&](const Expression& expression) { return expression->match(file); };
    if (std::ranges::none_of(own, is_match)) continue;
    const auto found = number->find(extension->remove_first(file));
    const auto digits = found ? services.unicode->whole_number(*found) : std::nullopt;
    if (digits) version = std::max(version, Version(*digits).next());
  }
  while (is_taken(path(version))) version = version.next();
  return version;
}

std::string Target::reserve() const {
  runtime::Files& files = *runtime::services().files;
  for (Version version = free_version();; version = version.next()) {
    std::string reserved = path(version);
    if (is_taken(reserved) || !files.create(reserved + kMark)) continue;
    // Whoever had the mark may have written the file and taken the mark away just now.
    if (!is_taken(reserved)) return reserved;
    release(reserved);
  }
}

void Target::with_free_version(const std::function<void(const std::string& path)>& body) const {
  const std::string reserved = reserve();
  try {
    body(reserved);
  } catch (...) {
    release(reserved);
    throw;
  }
  release(reserved);
}

}  // namespace kavel::exporting
