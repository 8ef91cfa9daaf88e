#include "core/foundation/assertions.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "core/foundation/errors.h"
#include "core/foundation/logger.h"
#include "core/runtime/services.h"

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

std::string fault_of(const std::string& name, Answer answer, const std::string& expected) {
  if (answer == Answer::missing) return "\"" + name + "\" is missing";
  return "\"" + name + "\" is not " + expected;
}

/// The first thing that is wrong; an empty text for nothing.
std::string describe_fault(Probe& check_class) {
  if (const Answer id = check_class.attribute("class_id"); id != Answer::text) {
    return fault_of("class_id", id, "a text with content");
  }
  for (const char* name : kCheckTexts) {
    const Answer text = check_class.attribute(name);
    if (!is_text(text)) return fault_of(name, text, "a text");
  }
  const Answer index = check_class.attribute("sort_index");
  if (index != Answer::finite_number) return fault_of("sort_index", index, "a finite number");
  const Answer block = check_class.call("parameters", std::nullopt);
  if (block == Answer::parameter_block) return "";
  return fault_of("parameters", block, "an operation that returns a Parameters.Block");
}

}  // namespace

bool is_valid_environment(Probe& environment) {
  bool valid = false;
  guarded([&] { valid = names_files(environment) && converts_paths(environment); });
  return valid;
}

std::optional<CheckFault> find_check_fault(Probe& check_class) {
  try {
    std::string reason = describe_fault(check_class);
    if (reason.empty()) return std::nullopt;
    return CheckFault{std::move(reason), ""};
  } catch (...) {
    const auto report = runtime::services().faults->report_foreign(std::current_exception());
    if (!report) throw;
    log_foreign_exception();
    return CheckFault{report->class_name + ": " + report->message, report->traceback};
  }
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
