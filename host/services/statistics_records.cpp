#include "core/services/statistics_record.h"
#include "host/bindings.h"
#include "host/services/services.h"

namespace kavel::host {
namespace {

using services::ChecksRecord;
using services::ExportedRecord;
using services::FeedbackSentRecord;
using services::StatisticsRecord;
using services::ValidateRecord;

template <class T>
py::class_<T, StatisticsRecord> define_record(py::handle type, const char* name, const char* doc) {
  auto record = define<T, StatisticsRecord>(type, name, doc);
  record.attr("key") = to_text(T::kKey);
  return record;
}

}  // namespace

void bind_statistics_records(py::handle type) {
  auto base = define<StatisticsRecord>(type, "_Record", "One usage record.");
  base.attr("key") = to_text(StatisticsRecord::kKey);
  define_init(base, [] { return new StatisticsRecord(); });
  base.def_readonly("timestamp", &StatisticsRecord::timestamp,
                    "Time of recording, seconds since the epoch.");
  base.def_property_readonly("data", &StatisticsRecord::data, "A fresh JSON-ready map.");

  auto validate = define_record<ValidateRecord>(type, "Validate", "A validation.");
  define_init(
      validate,
      [](double speed, std::string project) {
        return new ValidateRecord(speed, std::move(project));
      },
      py::arg("speed"), py::arg("project") = "");
  validate.def_readonly("speed", &ValidateRecord::speed, "Duration in seconds.");
  validate.def_readonly("project", &ValidateRecord::project, "Project, empty outside its mode.");

  auto checks = define_record<ChecksRecord>(type, "Checks", "One run of one check.");
  define_init(
      checks,
      [](std::string name, std::string result, double speed) {
        return new ChecksRecord(std::move(name), std::move(result), speed);
      },
      py::arg("name"), py::arg("result"), py::arg("speed"));
  checks.def_readonly("name", &ChecksRecord::name, "The check's long name.");
  checks.def_readonly("result", &ChecksRecord::result, "One of `Constants.Check.Result`.");
  checks.def_readonly("speed", &ChecksRecord::speed, "Duration in seconds.");

  auto exported = define_record<ExportedRecord>(type, "Exported", "One export run.");
  define_init(
      exported,
      [](std::string format, std::int64_t count, std::int64_t skipped, double speed) {
        return new ExportedRecord(std::move(format), count, skipped, speed);
      },
      py::arg("format"), py::arg("count"), py::arg("skipped"), py::arg("speed"));
  exported.def_readonly("format", &ExportedRecord::format, "The format's attribute.");
  exported.def_readonly("count", &ExportedRecord::count, "Files written.");
  exported.def_readonly("skipped", &ExportedRecord::skipped, "Tasks left out.");
  exported.def_readonly("speed", &ExportedRecord::speed, "Duration in seconds.");

  auto feedback = define_record<FeedbackSentRecord>(type, "FeedbackSent", "Feedback was sent.");
  define_init(feedback, [] { return new FeedbackSentRecord(); });
}

}  // namespace kavel::host
