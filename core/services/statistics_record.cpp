#include "core/services/statistics_record.h"

#include "core/runtime/services.h"

namespace kavel::services {

using foundation::Json;

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

}  // namespace kavel::services
