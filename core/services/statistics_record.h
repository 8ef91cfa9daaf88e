// Usage records: validations, check runs, exports and sent feedback.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "core/foundation/json.h"
#include "core/runtime/object.h"

namespace kavel::services {

/// One record; `timestamp` is the time of recording in seconds since the epoch.
class StatisticsRecord : public runtime::Object {
 public:
  StatisticsRecord();

  /// The key of the file under which records of this type are kept.
  [[nodiscard]] virtual std::string_view key() const noexcept { return kKey; }
  /// The JSON form, a map.
  [[nodiscard]] virtual foundation::Json data() const;

  static constexpr std::string_view kKey = "";
  double timestamp;
};

/// A validation; `speed` is its duration in seconds, `project` empty outside project mode.
class ValidateRecord final : public StatisticsRecord {
 public:
  ValidateRecord(double duration, std::string of_project)
      : project(std::move(of_project)), speed(duration) {}
  [[nodiscard]] std::string_view key() const noexcept override { return kKey; }
  [[nodiscard]] foundation::Json data() const override;

  static constexpr std::string_view kKey = "validate";
  std::string project;
  double speed;
};

/// One run of one check.
class ChecksRecord final : public StatisticsRecord {
 public:
  ChecksRecord(std::string of_check, std::string outcome, double duration)
      : name(std::move(of_check)), result(std::move(outcome)), speed(duration) {}
  [[nodiscard]] std::string_view key() const noexcept override { return kKey; }
  [[nodiscard]] foundation::Json data() const override;

  static constexpr std::string_view kKey = "checks";
  std::string name;
  std::string result;
  double speed;
};

/// One export run: files written and tasks skipped.
class ExportedRecord final : public StatisticsRecord {
 public:
  ExportedRecord(std::string of_format, std::int64_t written, std::int64_t left_out,
                 double duration)
      : format(std::move(of_format)), count(written), skipped(left_out), speed(duration) {}
  [[nodiscard]] std::string_view key() const noexcept override { return kKey; }
  [[nodiscard]] foundation::Json data() const override;

  static constexpr std::string_view kKey = "exported";
  std::string format;
  std::int64_t count;
  std::int64_t skipped;
  double speed;
};

class FeedbackSentRecord final : public StatisticsRecord {
 public:
  [[nodiscard]] std::string_view key() const noexcept override { return kKey; }

  static constexpr std::string_view kKey = "feedback_sent";
};

}  // namespace kavel::services
