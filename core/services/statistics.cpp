#include "core/services/statistics.h"

#include <array>

#include "core/foundation/document.h"
#include "core/foundation/errors.h"
#include "core/foundation/logger.h"
#include "core/foundation/text.h"
#include "core/runtime/services.h"

namespace kavel::services {

using foundation::Json;

namespace {

constexpr std::array<std::string_view, 4> kKeys = {ValidateRecord::kKey, ChecksRecord::kKey,
                                                   ExportedRecord::kKey, FeedbackSentRecord::kKey};

/// The oldest records over the limit go in one step, with room for as many to come: dropping one
/// for each new one would move the whole array every time.
void bound(Json::Array& records) {
  constexpr std::size_t kRoom = Statistics::kMaximumRecords / 10;
  if (records.size() <= Statistics::kMaximumRecords) return;
  records.erase(records.begin(),
                records.end() - static_cast<std::ptrdiff_t>(Statistics::kMaximumRecords - kRoom));
}

}  // namespace

StatisticsRecord::StatisticsRecord() : timestamp(runtime::services().system->time()) {}

Json StatisticsRecord::data() const { return Json::Map{{"timestamp", timestamp}}; }

Json ValidateRecord::data() const {
  return Json::Map{{"project", project}, {"timestamp", timestamp}, {"speed", speed}};
}

Json ChecksRecord::data() const {
  return Json::Map{{"name", name}, {"result", result}, {"timestamp", timestamp}, {"speed", speed}};
}

Json ExportedRecord::data() const {
  return Json::Map{{"format", format},
                   {"count", count},
                   {"skipped", skipped},
                   {"timestamp", timestamp},
                   {"speed", speed}};
}

Statistics::Statistics(std::string path)
    : mutex_edit_(runtime::services().threads->make_lock()), path_(std::move(path)) {
  data_ = read();
  ensure_attributes();
}

Json Statistics::read() const {
  const auto document =
      foundation::read_document(path_, {.corrupted = "Read Corrupted Statistics: {}",
                                        .incompatible = "Incompatible Statistics File - {}"});
  if (document.state != foundation::Document::State::usable) return Json::Map();
  const Json* version = document.content.find("version");
  if (version == nullptr || !(*version == Json(kVersion))) {
    foundation::log_warning(foundation::format("Incompatible Statistics Version - {}", {path_}));
    return Json::Map();
  }
  return document.content;
}

void Statistics::ensure_attributes() {
  for (const std::string_view key : kKeys) {
    const Json* records = data_.find(key);
    if (records == nullptr || records->array() == nullptr) data_.set(key, Json::Array());
  }
  if (data_.find("version") == nullptr) data_.set("version", kVersion);
}

void Statistics::add(std::string_view key, Json data) {
  const runtime::LockGuard guard(*mutex_edit_);
  for (auto& [name, records] : *data_.map()) {
    if (name != key || records.array() == nullptr) continue;
    records.array()->push_back(std::move(data));
    bound(*records.array());
    return;
  }
  throw foundation::Error(foundation::ErrorKind::value,
                          "there are no records of the type \"" + std::string(key) + "\"");
}

}  // namespace kavel::services
