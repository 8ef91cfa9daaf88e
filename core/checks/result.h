// One run of one check on one path.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "core/checks/check_port.h"
#include "core/runtime/list.h"
#include "core/scene/operator.h"
#include "core/services/statistics_port.h"

namespace kavel::checks {

/// From best to worst.
enum class Status : std::uint8_t { pass, info, fail, error };
/// The value of `Constants.Check.Result`.
[[nodiscard]] std::string_view text_of(Status status) noexcept;

/// What the results of one validation have in common.
class RunContext final : public runtime::Object {
 public:
  RunContext(std::unique_ptr<CheckPort> checks, Ref<services::StatisticsPort> statistics,
             std::unique_ptr<scene::OperatorPort> operator_port);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  [[nodiscard]] CheckPort& checks() const noexcept { return *checks_; }
  [[nodiscard]] const Ref<services::StatisticsPort>& statistics() const noexcept {
    return statistics_;
  }
  [[nodiscard]] scene::OperatorPort& operator_port() const noexcept { return *operator_; }

  /// A copy of `parameters` for one run: one that ran before, with the inputs it made its own.
  [[nodiscard]] Ref<ParameterTask> lend(const ParameterTask& parameters);
  /// Keeps a lent copy for the next run; false when it is not untouched.
  [[nodiscard]] bool take_back(const Ref<ParameterTask>& lent);
  /// Whether the values are the frozen ones and only the caller holds the parameters or a part.
  [[nodiscard]] bool is_untouched(const ParameterTask& parameters) const;

 private:
  std::unique_ptr<CheckPort> checks_;
  Ref<services::StatisticsPort> statistics_;
  std::unique_ptr<scene::OperatorPort> operator_;
  /// At most one copy for each set of frozen inputs.
  std::unordered_map<const ParameterOriginal*, Ref<ParameterTask>> spares_;
};

/// Nothing that a check does leaves it but an interrupt. It lives as long as the queue and there
/// may be millions, so it holds no more than what differs between runs: for its first run the check
/// is lent its parameters, which become the result's own only when it keeps or changes them.
class Result final : public runtime::Object {
 public:
  /// Makes an instance of the class and runs it with a copy of the parameters. Unless `single`, the
  /// number of the parameters ends the name.
  Result(const Ref<RunContext>& context, Value path, Value check_class,
         const ParameterTask& parameters, bool single = true);

  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// Runs the check again, with the result's own parameters, and records the run.
  void check();
  /// Lets the check repair what it found, with the selection kept, and runs it again.
  void fix_result();
  /// What the check answers; an empty value when it fails.
  [[nodiscard]] Value select_result();
  /// Empty when the check fails.
  [[nodiscard]] std::string result_message();

  [[nodiscard]] std::string name() const { return context_->checks().name(check_); }
  [[nodiscard]] Status status() const noexcept { return status_; }
  /// False when no instance could be made.
  [[nodiscard]] bool flag(CheckPort::Flag flag) const;
  /// The instance; the class when no instance could be made.
  [[nodiscard]] const Value& instance() const noexcept { return check_; }
  [[nodiscard]] const Value& path() const noexcept { return path_; }
  [[nodiscard]] const Ref<ParameterTask>& parameters() const noexcept { return parameters_; }
  [[nodiscard]] const Ref<RunContext>& context() const noexcept { return context_; }

 private:
  void run_and_record(const Ref<ParameterTask>& parameters);
  /// The status after one run of the check.
  [[nodiscard]] Status run(const Ref<ParameterTask>& parameters);

  Ref<RunContext> context_;
  Value check_;
  Value path_;
  Ref<ParameterTask> parameters_;
  Status status_ = Status::error;
  bool is_made_ = false;
};

using ResultList = runtime::List<Ref<Result>>;

}  // namespace kavel::checks
