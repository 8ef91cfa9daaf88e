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

}  // namespace

Statistics::Statistics(std::string path)
    : mutex_edit_(runtime::services().threads->make_lock()), path_(std::move(path)) {
  if (auto content = read_file()) data_ = std::move(*content);
  base_ = data_;
}

std::optional<StatisticsContent> Statistics::read_file() {
  const auto document =
      foundation::read_raw_document(path_, {.corrupted = "Read Corrupted Statistics: {}",
                                            .incompatible = "Incompatible Statistics File - {}"});
  if (document.state != foundation::Document::State::usable) return std::nullopt;
  std::optional<StatisticsContent> content;
  foundation::guarded([&] {
    if (version_state(document.content) == VersionState::usable) {
      content = read_content(document.content, names_, maximum_records);
    } else {
      warn_of_version(path_);
    }
  });
  return content;
}

Json Statistics::read() {
  const auto content = read_file();
  return content ? to_json(*content, names_) : Json(Json::Map());
}

void Statistics::append(std::size_t place, StatisticsEntry entry) {
  StatisticsSeries& series = data_.series.at(place);
  series.push_back(std::move(entry));
  bound(series, maximum_records);
}

void Statistics::add_check(std::string_view name, std::string_view status, double seconds) {
  foundation::guarded([&] {
    const double now = runtime::services().system->time();
    const runtime::LockGuard guard(*mutex_edit_);
    append(kChecksPlace, {names_.number(name), names_.number(status), now, seconds, nullptr});
  });
}

void Statistics::add(const StatisticsRecord& record) {
  if (const auto* run = dynamic_cast<const ChecksRecord*>(&record)) {
    const runtime::LockGuard guard(*mutex_edit_);
    append(kChecksPlace, {names_.number(run->name), names_.number(run->result), run->timestamp,
                          run->speed, nullptr});
  } else if (const auto place = place_of(record.key())) {
    StatisticsEntry entry = other_entry(record.data());
    const runtime::LockGuard guard(*mutex_edit_);
    append(*place, std::move(entry));
  }
}

void Statistics::add(std::string_view key, const Value& data) {
  const auto place = place_of(key);
  if (!place) return;
  foundation::guarded([&] {
    const runtime::LockGuard guard(*mutex_edit_);
    append(*place, EntryReader(names_).entry(data));
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
  const runtime::LockGuard guard(*mutex_edit_);
  runtime::services().json->refill(map, to_json(merged(map), names_));
}

bool Statistics::merge_into_file() {
  std::optional<StatisticsContent> content;
  const runtime::LockGuard guard(*mutex_edit_);
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
    if (!merge_into_file()) warn_of_version(path_);
  });
}

void Statistics::clear() {
  const runtime::LockGuard guard(*mutex_edit_);
  for (StatisticsSeries& series : data_.series) series.clear();
}

runtime::Ref<StatisticsRequest> Statistics::create_http_request() {
  std::string user = StatisticsRequest::current_user();
  const runtime::LockGuard guard(*mutex_edit_);
  sent_ = data_;
  return runtime::make<StatisticsRequest>(foundation::json_line(data()), std::move(user));
}

void Statistics::accept_http_response(const StatisticsResponse& response, bool clear_sent) {
  if (!response.accepted) return;
  foundation::log_debug("Statistics Sent");
  if (!clear_sent) return;
  if (sent_) {
    const runtime::LockGuard guard(*mutex_edit_);
    for (std::size_t place = 0; place < kStatisticsKeys.size(); ++place) {
      StatisticsSeries& series = data_.series.at(place);
      series = without(series, sent_->series.at(place));
    }
  } else {
    clear();
  }
  write();
  foundation::log_debug("Clear Local Statistics");
}

}  // namespace kavel::services
