#include "core/checks/result.h"

#include <utility>

#include "core/facade/constants.h"
#include "core/foundation/logger.h"
#include "core/runtime/services.h"

namespace kavel::checks {
namespace {

/// Far more than a project has sets of parameters.
constexpr std::size_t kMaximumSpares = 4096;

std::string suffix(std::int32_t number) {
  const std::string digits = std::to_string(number);
  return " (Task " + std::string(digits.size() < 2 ? 2 - digits.size() : 0, '0') + digits + ")";
}

/// Asks objects and all their parts whether nobody else holds them.
class SoleParts final : public runtime::ReferenceVisitor {
 public:
  explicit SoleParts(CheckPort& checks) : checks_(checks) {}

  void value(const Value& /*value*/) override {}
  void object(const runtime::Object& part) override {
    are_sole_ = are_sole_ && checks_.is_sole(part);
    if (are_sole_) part.each_reference(*this);
  }
  [[nodiscard]] bool are_sole() const noexcept { return are_sole_; }

 private:
  CheckPort& checks_;
  bool are_sole_ = true;
};

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
  for (const auto& [original, spare] : spares_) visitor(spare);
}

void RunContext::drop_references() noexcept {
  operator_->drop_references();
  spares_.clear();
}

Ref<ParameterTask> RunContext::lend(const ParameterTask& parameters) {
  const Ref<ParameterOriginal> original = parameters.freeze();
  const auto spare = spares_.find(original.get());
  if (spare == spares_.end()) return parameters.clone();
  const Ref<ParameterTask> lent = std::move(spare->second);
  spares_.erase(spare);
  if (!lent->is_frozen()) return parameters.clone();
  lent->as_info = parameters.as_info;
  lent->number = 0;
  return lent;
}

bool RunContext::is_untouched(const ParameterTask& parameters) const {
  const bool is_as_given = parameters.is_frozen() && !parameters.has_load_errors() &&
                           !parameters.original()->may_change_unnoticed;
  if (!is_as_given || !checks_->is_sole(parameters)) return false;
  SoleParts parts(*checks_);
  parts(parameters.own());
  return parts.are_sole();
}

bool RunContext::take_back(const Ref<ParameterTask>& lent) {
  if (!is_untouched(*lent)) return false;
  // Sets of inputs that were replaced are never asked for again.
  if (spares_.size() >= kMaximumSpares) spares_.clear();
  spares_.insert_or_assign(lent->original().get(), lent);
  return true;
}

Result::Result(const Ref<RunContext>& context, Value path, Value check_class,
               const ParameterTask& parameters, bool single)
    : context_(runtime::shared(context)),
      check_(std::move(check_class)),
      path_(std::move(path)),
      parameters_(parameters.clone()) {
  is_made_ = foundation::guarded_foreign([&] {
    check_ = context_->checks().make(check_, single ? std::string() : suffix(parameters.number));
  });
  // Nobody has this result yet, and so nobody can see that it lends its parameters.
  Ref<ParameterTask> lent = context_->lend(*parameters_);
  run_and_record(lent);
  if (context_->take_back(lent)) {
    parameters_->as_info = lent->as_info;
    parameters_->number = lent->number;
  } else {
    parameters_ = std::move(lent);
  }
}

void Result::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(context_);
  visitor(check_);
  visitor(path_);
  visitor(parameters_);
}

void Result::drop_references() noexcept { check_ = Value(); }

Status Result::run(const Ref<ParameterTask>& parameters) {
  if (!is_made_) return Status::error;
  Status status = Status::error;
  foundation::guarded_foreign([&] {
    parameters->assert_no_errors();
    context_->checks().forget(check_);
    const bool passed =
        context_->checks().run(check_, path_, parameters) == CheckPort::Outcome::passed;
    status = passed ? Status::pass : parameters->as_info ? Status::info : Status::fail;
  });
  return status;
}

void Result::run_and_record(const Ref<ParameterTask>& parameters) {
  runtime::System& system = *runtime::services().system;
  const double started = system.monotonic();
  status_ = run(parameters);
  const double seconds = system.monotonic() - started;
  foundation::guarded_foreign([&] {
    context_->statistics()->add_check(context_->checks().name(check_), text_of(status_), seconds);
  });
}

void Result::check() {
  run_and_record(parameters_);
  if (!context_->is_untouched(*parameters_)) return;
  // A copy has no inputs of its own yet, and so takes less room.
  Ref<ParameterTask> copy = parameters_->clone();
  copy->number = parameters_->number;
  parameters_ = std::move(copy);
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
