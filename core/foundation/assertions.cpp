#include "core/foundation/assertions.h"

#include <algorithm>

#include "core/foundation/errors.h"
#include "core/foundation/logger.h"

namespace kavel::foundation {
namespace {

constexpr const char* kEnvironmentPaths[] = {"get_settings_file", "get_settings_directory",
                                             "get_projects_directory", "get_statistics_file"};
constexpr const char* kEnvironmentConversions[] = {"decode_user", "encode_user"};
constexpr const char* kCheckTexts[] = {"short_name", "long_name", "description", "category"};

bool is_text(Answer answer) { return answer == Answer::text || answer == Answer::empty_text; }

bool names_files(Probe& environment) {
  return std::ranges::all_of(kEnvironmentPaths, [&](const char* name) {
    return is_text(environment.call(name, std::nullopt));
  });
}

bool converts_paths(Probe& environment) {
  return std::ranges::all_of(kEnvironmentConversions, [&](const char* name) {
    return is_text(environment.call(name, "~"));
  });
}

bool describes_itself(Probe& check_class) {
  return check_class.attribute("class_id") == Answer::text &&
         std::ranges::all_of(
             kCheckTexts, [&](const char* name) { return is_text(check_class.attribute(name)); }) &&
         check_class.attribute("sort_index") == Answer::finite_number &&
         check_class.call("parameters", std::nullopt) == Answer::parameter_block;
}

}  // namespace

bool is_valid_environment(Probe& environment) {
  bool valid = false;
  guarded([&] { valid = names_files(environment) && converts_paths(environment); });
  return valid;
}

bool is_valid_check(Probe& check_class) {
  bool valid = false;
  guarded([&] { valid = describes_itself(check_class); });
  return valid;
}

bool is_attribute_name(std::string_view name) noexcept {
  const auto is_digit = [](char character) { return character >= '0' && character <= '9'; };
  const auto is_word = [&](char character) {
    return is_digit(character) || (character >= 'a' && character <= 'z') ||
           (character >= 'A' && character <= 'Z') || character == '_';
  };
  return !name.empty() && !is_digit(name.front()) && std::ranges::all_of(name, is_word);
}

bool is_private_name(std::string_view name) noexcept {
  return name.starts_with("__") && name.size() > 2 && name[2] != '\n';
}

void assert_attribute_name(const std::string& name) {
  if (!is_attribute_name(name)) throw Error::about(ErrorKind::wrong_attribute_name, name);
  if (is_private_name(name)) throw Error::about(ErrorKind::private_attribute_name, name);
}

}  // namespace kavel::foundation
