#include "core/foundation/access_queue.h"

#include <algorithm>
#include <string_view>
#include <tuple>
#include <utility>

#include "core/foundation/errors.h"
#include "core/foundation/json.h"
#include "core/foundation/json_file.h"
#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::foundation {
namespace {

constexpr double kLockStep = 0.5;
constexpr double kTurnStep = 0.1;
/// Half of the pause that editors who saw no lock are given to make their tickets.
constexpr double kSlow = kTurnStep / 2;

runtime::Files& files() { return *runtime::services().files; }

bool is_now(const char* class_name) {
  return runtime::services().faults->is(std::current_exception(), class_name);
}

/// Whether `name` starts with `filename`, ".id." and a digit. A point in `filename` stands for any
/// character but a line break.
bool is_ticket(std::string_view name, std::string_view filename) {
  std::size_t position = 0;
  for (std::size_t expected = 0; expected < filename.size();) {
    if (position >= name.size()) return false;
    const char32_t found = next_code_point(name, position);
    const char32_t wanted = next_code_point(filename, expected);
    if (wanted == U'.' ? found == U'\n' : found != wanted) return false;
  }
  const std::string_view rest = name.substr(position);
  constexpr std::string_view kMark = ".id.";
  return rest.starts_with(kMark) && rest.size() > kMark.size() && rest[kMark.size()] >= '0' &&
         rest[kMark.size()] <= '9';
}

void remove_if_there(const std::string& path) {
  try {
    files().remove(path);
  } catch (...) {
    if (!is_now("FileNotFoundError")) throw;
  }
}

}  // namespace

std::vector<std::string> FolderListing::names(const std::string& folder, std::string_view prefix) {
  auto known = names_.find(folder);
  if (known == names_.end()) {
    known = names_.emplace(folder, files().list(folder.empty() ? "." : folder)).first;
  }
  // The order of code points is that of their bytes, so what starts alike stands together.
  const auto first = std::ranges::lower_bound(known->second, prefix);
  const auto last = std::find_if(first, known->second.end(), [prefix](const std::string& name) {
    return !name.starts_with(prefix);
  });
  return {first, last};
}

AccessQueue::AccessQueue(const std::string& path, bool writes, double timeout, double threshold)
    : write(writes),
      access_timeout(timeout),
      life_duration_threshold(threshold),
      path_(files().normalise(path)),
      ticket_(random_ticket()) {
  std::tie(directory_, filename_) = files().split(path_);
}

runtime::Value AccessQueue::enter() {
  assert_access();
  try {
    data_ = read();
  } catch (...) {
    abandon();
    throw;
  }
  return data_;
}

runtime::Value AccessQueue::read() const {
  if (files().exists(path_)) return read_json(path_);
  return runtime::services().json->from_json(Json::Map());
}

void AccessQueue::leave() {
  if (phase_ != Phase::inside) return;
  const runtime::Value data = std::exchange(data_, runtime::Value());
  const std::optional<std::string> content = std::exchange(content_, std::nullopt);
  try {
    if (write && content) {
      write_content(path_, *content, ticket_);
    } else if (write) {
      write_json(path_, data, ticket_);
    }
  } catch (...) {
    abandon();
    throw;
  }
  release_access();
}

void AccessQueue::begin() {
  if (!files().is_directory(directory_.empty() ? "." : directory_)) {
    throw Error(ErrorKind::file_not_found, "No such folder: " + directory_);
  }
  phase_ = Phase::lock;
  waited_for_lock_ = 0;
}

std::optional<double> AccessQueue::advance(FolderListing& listing) {
  try {
    if (phase_ == Phase::lock) return wait_for_lock();
    if (phase_ == Phase::turn) return wait_for_turn(listing);
    return std::nullopt;
  } catch (const Error& error) {
    // Whose turn did not come keeps its place.
    if (error.kind() != ErrorKind::access_queue_timeout) abandon();
    throw;
  } catch (...) {
    abandon();
    throw;
  }
}

bool AccessQueue::sees_no_lock() {
  delete_outdated(path_lock());
  // A link or folder in its place will not go away: making the lock reports it.
  return !files().exists(path_lock()) || files().is_link(path_lock()) ||
         files().is_directory(path_lock());
}

void AccessQueue::take_place() {
  files().touch(path_lock());
  marked_ = true;
  files().touch(path_id());
}

std::optional<double> AccessQueue::wait_for_lock() {
  if (waited_for_lock_ >= access_timeout) throw Error(ErrorKind::access_queue_timeout);
  const double start = runtime::services().system->monotonic();
  if (!sees_no_lock()) {
    waited_for_lock_ += kLockStep;
    return kLockStep;
  }
  take_place();
  was_slow_ = runtime::services().system->monotonic() - start > kSlow;
  waited_for_turn_ = 0;
  phase_ = Phase::turn;
  return kTurnStep;
}

std::optional<double> AccessQueue::wait_for_turn(FolderListing& listing) {
  if (waited_for_turn_ >= access_timeout) throw Error(ErrorKind::access_queue_timeout);
  const std::vector<std::string> sequence = editors_sequence(listing);
  if (std::exchange(was_slow_, false) && !sequence.empty() && sequence.back() != path_id()) {
    release_access();
    phase_ = Phase::lock;
    waited_for_lock_ += kTurnStep;
    return kTurnStep;
  }
  if (!sequence.empty() && sequence.front() == path_id()) {
    phase_ = Phase::inside;
    return std::nullopt;
  }
  waited_for_turn_ += kTurnStep;
  return kTurnStep;
}

void AccessQueue::assert_access() {
  begin();
  while (true) {
    FolderListing listing;
    const std::optional<double> pause = advance(listing);
    if (!pause) return;
    sleep(*pause);
  }
}

void AccessQueue::sleep(double seconds) {
  try {
    runtime::services().system->sleep(seconds);
  } catch (...) {
    abandon();
    throw;
  }
}

void AccessQueue::remove_ticket() { remove_if_there(path_id()); }

void AccessQueue::remove_lock(FolderListing& listing) {
  if (editors_sequence(listing).empty()) remove_if_there(path_lock());
  marked_ = false;
  phase_ = Phase::idle;
}

void AccessQueue::release_access() {
  remove_ticket();
  FolderListing listing;
  remove_lock(listing);
}

void AccessQueue::abandon() noexcept {
  if (!marked_) return;
  try {
    release_access();
  } catch (...) {
    // What stays behind stops counting once it is outdated; the failure that led here matters more.
  }
}

std::vector<std::string> AccessQueue::editors_sequence(FolderListing& listing) {
  std::vector<std::string> sequence;
  // Up to the first point, which stands for any character, a ticket has the file's own name.
  const std::string_view literal = std::string_view(filename_).substr(0, filename_.find('.'));
  for (const std::string& name : listing.names(directory_, literal)) {
    if (!is_ticket(name, filename_)) continue;
    std::string ticket = files().join(directory_, name);
    delete_outdated(ticket);
    if (files().exists(ticket)) sequence.push_back(std::move(ticket));
  }
  return sequence;
}

void AccessQueue::delete_outdated(const std::string& marker) {
  try {
    const double age = runtime::services().system->time() - files().modified(marker);
    if (age > life_duration_threshold) files().remove(marker);
  } catch (...) {
    // Another editor was faster, or holds it open.
    if (!is_now("OSError")) throw;
  }
}

}  // namespace kavel::foundation
