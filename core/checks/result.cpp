#include "core/checks/result.h"

#include <utility>

#include "core/facade/constants.h"
#include "core/foundation/logger.h"
#include "core/runtime/services.h"

namespace kavel::checks {
namespace {

std::string suffix(std::int32_t number) {
  const std::string digits = std::to_string(number);
  return " (Task " + std::string(digits.size() < 2 ? 2 - digits.size() : 0, '0') + digits + ")";
}

}  // namespace

std::string_view text_of(Status status) noexcept {
  namespace result = facade::result;
  constexpr std::string_view kTexts[] = {result::kPass, result::kInfo, result::kFail,
                                         result::kError};
  return kTexts[static_cast<std::size_t>(status)];
}

RunContext::RunContext(std::unique_ptr<CheckPort> checks, Ref<services::StatisticsPort> statistics,
                       std::unique_ptr<scene::OperatorPort> operator_port)
    : checks_(std::move(checks)),
      statistics_(std::move(statistics)),
      operator_(std::move(operator_port)) {}

void RunContext::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(statistics_);
  operator_->each_reference(visitor);
}

void RunContext::drop_references() noexcept { operator_->drop_references(); }

Result::Result(const Ref<RunContext>& context, Value path, Value check_class,
               const ParameterTask& parameters, bool single)
    : context_(runtime::shared(context)),
      check_(std::move(check_class)),
      path_(std::move(path)),
      parameters_(parameters.clone()) {
  is_made_ = foundation::guarded_foreign([&] {
    check_ = context_->checks().make(check_, single ? std::string() : suffix(parameters.number));
  });
  check();
}

void Result::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(context_);
  visitor(check_);
  visitor(path_);
  visitor(parameters_);
}

void Result::drop_references() noexcept { check_ = Value(); }

Status Result::run() {
  if (!is_made_) return Status::error;
  Status status = Status::error;
  foundation::guarded_foreign([&] {
    parameters_->assert_no_errors();
    context_->checks().forget(check_);
    const bool passed =
        context_->checks().run(check_, path_, parameters_) == CheckPort::Outcome::passed;
    status = passed ? Status::pass : parameters_->as_info ? Status::info : Status::fail;
  });
  return status;
}

void Result::let_go_of_inputs() {
  CheckPort& checks = context_->checks();
  if (!checks.is_sole(*parameters_)) return;
  Ref<ParameterTask> compact =
      parameters_->compact([&checks](const Input& input) { return checks.is_sole(input); });
  if (compact) parameters_ = std::move(compact);
}

void Result::check() {
  runtime::System& system = *runtime::services().system;
  const double started = system.monotonic();
  status_ = run();
  const double seconds = system.monotonic() - started;
  let_go_of_inputs();
  foundation::guarded_foreign([&] {
    context_->statistics()->add_check(context_->checks().name(check_), text_of(status_), seconds);
  });
}

void Result::fix_result() {
  if (is_made_) {
    foundation::guarded_foreign([&] {
      context_->operator_port().keep_selection([&] {
        foundation::guarded_foreign([&] { context_->checks().fix(check_, path_, parameters_); });
      });
    });
  }
  check();
}

Value Result::select_result() {
  Value selected;
  if (is_made_) {
    foundation::guarded_foreign([&] { selected = context_->checks().select(check_); });
  }
  return selected;
}

std::string Result::result_message() {
  std::string message;
  if (is_made_) {
    foundation::guarded_foreign([&] { message = context_->checks().message(check_); });
  }
  return message;
}

bool Result::flag(CheckPort::Flag flag) const {
  const bool asks_class = flag == CheckPort::Flag::scene_oriented;
  return (is_made_ || asks_class) && context_->checks().flag(check_, flag);
}

}  // namespace kavel::checks
