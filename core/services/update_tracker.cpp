#include "core/services/update_tracker.h"

#include <algorithm>
#include <compare>
#include <vector>

#include "core/foundation/errors.h"
#include "core/foundation/failure.h"
#include "core/foundation/logger.h"
#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::services {
namespace {

constexpr const char* kVersionHeader = "Kavel-Version";
constexpr std::size_t kParts = 3;

bool is_number(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Compares digits as numbers of any size.
std::strong_ordering compare_numbers(std::string_view left, std::string_view right) {
  left.remove_prefix(std::min(left.find_first_not_of('0'), left.size()));
  right.remove_prefix(std::min(right.find_first_not_of('0'), right.size()));
  if (left.size() != right.size()) return left.size() <=> right.size();
  return left <=> right;
}

/// Most users need not know it.
void log_reason(const std::exception_ptr& failure) {
  if (!failure) return;
  const auto report = runtime::services().faults->report(failure);
  if (report) foundation::log_debug(report->class_name + ": " + report->message);
}

}  // namespace

bool UpdateTracker::is_version(std::string_view text) {
  return std::ranges::all_of(foundation::split(text, "."), is_number);
}

std::string UpdateTracker::clean_version(const std::string& text) {
  std::vector<std::string> parts = foundation::split(text, ".");
  while (parts.size() < kParts) parts.emplace_back("0");
  return foundation::join(parts, ".");
}

bool UpdateTracker::is_above_version(std::string_view local, std::string_view remote) {
  if (!is_version(local) || !is_version(remote)) return false;
  const std::vector<std::string> ours = foundation::split(local, ".");
  const std::vector<std::string> theirs = foundation::split(remote, ".");
  for (std::size_t part = 0; part < std::min(ours.size(), theirs.size()); ++part) {
    const auto order = compare_numbers(theirs[part], ours[part]);
    if (order != 0) return order > 0;
  }
  return false;
}

std::optional<std::string> UpdateTracker::version() const {
  const bool is_usable = remote_version_ && is_version(*remote_version_);
  return is_usable ? remote_version_ : std::nullopt;
}

bool UpdateTracker::exist() {
  if (!was_asked_) {
    was_asked_ = true;
    remote_version_ = ask();
  }
  return remote_version_ && is_above_version(local_version_, *remote_version_);
}

std::optional<std::string> UpdateTracker::ask() const {
  std::string host;
  std::optional<std::string> answer;
  const auto failure = foundation::failure_of([&] {
    host = source_->host();
    if (host.empty()) throw foundation::Error(foundation::ErrorKind::value, "no host to ask");
    answer = runtime::services().https->header(host, source_->path(), kVersionHeader, timeout);
  });
  if (answer && is_version(*answer)) return clean_version(*answer);
  foundation::log_error(foundation::format("Could not check version for update from {}", {host}));
  log_reason(failure);
  return answer;
}

}  // namespace kavel::services
