#include "core/services/statistics.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "core/foundation/access_queue.h"
#include "core/foundation/document.h"
#include "core/foundation/json_writer.h"
#include "core/foundation/logger.h"
#include "core/foundation/text.h"
#include "core/runtime/services.h"
#include "core/services/statistics_merge.h"

namespace kavel::services {

using foundation::Json;
using runtime::Value;

namespace {

std::optional<std::size_t> place_of(std::string_view key) {
  const auto found = std::ranges::find(kStatisticsKeys, key);
  if (found == kStatisticsKeys.end()) {
    foundation::log_error("There are no statistics of the type \"" + std::string(key) + "\"");
    return std::nullopt;
  }
  return static_cast<std::size_t>(found - kStatisticsKeys.begin());
}

void warn_of_version(const std::string& path) {
  foundation::log_warning(foundation::format("Incompatible Statistics Version - {}", {path}));
}

void warn_of_nested_use() {
  foundation::log_warning("The statistics are in use by a call of the same thread already");
}

}  // namespace

class Statistics::Turn {
 public:
  explicit Turn(Statistics& store)
      : store_(store), is_nested_(store.holder_ == std::this_thread::get_id()) {
    if (is_nested_) return;
    store_.mutex_edit_->acquire();
    store_.holder_ = std::this_thread::get_id();
    // Only here does nobody else hold numbers of names.
    store_.forget_names();
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;
  ~Turn() {
    if (is_nested_) return;
    for (std::size_t place = 0; place < kStatisticsKeys.size(); ++place) {
      StatisticsSeries& waiting = store_.waiting_.at(place);
      StatisticsSeries& series = store_.data_.series.at(place);
      series.insert(series.end(), waiting.begin(), waiting.end());
      waiting.clear();
      bound(series, store_.maximum_records);
    }
    store_.holder_.reset();
    store_.mutex_edit_->release();
  }

  [[nodiscard]] bool is_nested() const noexcept { return is_nested_; }

 private:
  Statistics& store_;
  const bool is_nested_;
};

Statistics::Statistics(std::string path)
    : mutex_edit_(runtime::services().threads->make_lock()), path_(std::move(path)) {
  if (auto content = read_file(names_)) data_ = std::move(*content);
  base_ = data_;
}

std::optional<StatisticsContent> Statistics::read_file(NameTable& names) {
  const auto document =
      foundation::read_raw_document(path_, {.corrupted = "Read Corrupted Statistics: {}",
                                            .incompatible = "Incompatible Statistics File - {}"});
  if (document.state != foundation::Document::State::usable) return std::nullopt;
  std::optional<StatisticsContent> content;
  foundation::guarded([&] {
    if (version_state(document.content) == VersionState::usable) {
      content = read_content(document.content, names, maximum_records);
    } else {
      warn_of_version(path_);
    }
  });
  return content;
}

Json Statistics::read() {
  // The store's own names are of no use here: another thread may renumber them meanwhile.
  NameTable names;
  const auto content = read_file(names);
  return content ? to_json(*content, names) : Json(Json::Map());
}

void Statistics::append(std::size_t place, StatisticsEntry entry, const Turn& turn) {
  StatisticsSeries& series = turn.is_nested() ? waiting_.at(place) : data_.series.at(place);
  series.push_back(std::move(entry));
  bound(series, maximum_records);
}

void Statistics::forget_names() {
  // Each record has two; twice as many before the next search keep its cost per name constant.
  if (names_.size() <= std::max(names_limit_, 2 * maximum_records)) return;
  NameTable used;
  for (StatisticsContent* content : {&data_, &base_, sent_ ? &*sent_ : nullptr}) {
    if (content == nullptr) continue;
    for (StatisticsSeries& series : content->series) renumber(series, names_, used);
  }
  names_ = std::move(used);
  names_limit_ = 2 * names_.size();
}

void Statistics::add_check(std::string_view name, std::string_view status, double seconds) {
  foundation::guarded([&] {
    const double now = runtime::services().system->time();
    const Turn turn(*this);
    append(kChecksPlace, {names_.number(name), names_.number(status), now, seconds, nullptr}, turn);
  });
}

void Statistics::add(const StatisticsRecord& record) {
  if (const auto* run = dynamic_cast<const ChecksRecord*>(&record)) {
    const Turn turn(*this);
    append(
        kChecksPlace,
        {names_.number(run->name), names_.number(run->result), run->timestamp, run->speed, nullptr},
        turn);
  } else if (const auto place = place_of(record.key())) {
    StatisticsEntry entry = other_entry(record.data());
    const Turn turn(*this);
    append(*place, std::move(entry), turn);
  }
}

void Statistics::add(std::string_view key, const Value& data) {
  const auto place = place_of(key);
  if (!place) return;
  foundation::guarded([&] {
    const Turn turn(*this);
    append(*place, EntryReader(names_).entry(data), turn);
  });
}

StatisticsContent Statistics::merged(const Value& map) {
  StatisticsContent file;
  if (runtime::services().data->is_map(map) && version_state(map) == VersionState::usable) {
    file = read_content(map, names_, std::numeric_limits<std::size_t>::max());
  }
  for (std::size_t place = 0; place < kStatisticsKeys.size(); ++place) {
    file.series.at(place) = merge(file.series.at(place), base_.series.at(place),
                                  data_.series.at(place), maximum_records);
  }
  return file;
}

void Statistics::extend(const Value& map) {
  const Turn turn(*this);
  runtime::services().json->refill(map, to_json(merged(map), names_));
}

bool Statistics::merge_into_file() {
  std::optional<StatisticsContent> content;
  foundation::update_document(path_, [&](foundation::AccessQueue& turn) {
    content.reset();
    const bool is_map = runtime::services().data->is_map(turn.data());
    if (is_map && version_state(turn.data()) == VersionState::newer) {
      turn.write = false;
      return;
    }
    content = merged(turn.data());
    turn.set_content(file_text(*content, names_));
  });
  // Taken over only now that it stands in the file.
  if (content) {
    base_ = *content;
    data_ = std::move(*content);
  }
  return content.has_value();
}

void Statistics::write() {
  foundation::guarded([this] {
    bool is_newer = false;
    {
      const Turn turn(*this);
      if (turn.is_nested()) return warn_of_nested_use();
      is_newer = !merge_into_file();
    }
    if (is_newer) warn_of_version(path_);
  });
}

void Statistics::clear() {
  const Turn turn(*this);
  if (turn.is_nested()) return warn_of_nested_use();
  for (StatisticsSeries& series : data_.series) series.clear();
}

runtime::Ref<StatisticsRequest> Statistics::create_http_request() {
  std::string user = StatisticsRequest::current_user();
  const Turn turn(*this);
  has_requested_ = true;
  if (!sent_) sent_ = data_;
  return runtime::make<StatisticsRequest>(foundation::json_line(data()), std::move(user));
}

void Statistics::accept_http_response(const StatisticsResponse& response, bool clear_sent) {
  if (response.accepted) foundation::log_debug("Statistics Sent");
  // Records that stay here are not forgotten as sent ones: a later answer may remove them.
  if (response.accepted && !clear_sent) return;
  {
    const Turn turn(*this);
    if (turn.is_nested()) return warn_of_nested_use();
    const std::optional<StatisticsContent> sent = std::exchange(sent_, std::nullopt);
    if (!response.accepted) return;
    for (std::size_t place = 0; place < kStatisticsKeys.size(); ++place) {
      StatisticsSeries& series = data_.series.at(place);
      if (!has_requested_) series.clear();
      if (sent) series = without(series, sent->series.at(place));
    }
  }
  write();
  foundation::log_debug("Clear Local Statistics");
}

}  // namespace kavel::services
