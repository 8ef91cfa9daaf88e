#include "core/checks/validator.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>

#include "core/foundation/busy.h"
#include "core/foundation/logger.h"
#include "core/runtime/services.h"

namespace kavel::checks {
namespace {

constexpr const char* kSceneTask = "The Entire Scene";

Value text(std::string_view text) { return runtime::services().data->make_text(text); }

/// The controls of scene-wide checks, one for each class: that of the joint noted first.
class SceneControls {
 public:
  SceneControls(CheckPort& checks, const std::vector<std::string>& order) : checks_(checks) {
    for (const std::string& id : order) places_.emplace(id, places_.size());
  }

  void add(const std::vector<Value>& controls) {
    for (const Value& control : controls) {
      std::string id;
      if (!foundation::guarded_foreign([&] { id = checks_.class_id(control); })) continue;
      // Classes that the registry does not know follow in the order of their first mention.
      const std::size_t place = places_.emplace(id, places_.size()).first->second;
      chosen_.emplace(place, control);
    }
  }
  [[nodiscard]] std::vector<Value> take() const {
    std::vector<Value> controls;
    for (const auto& [place, control] : chosen_) controls.push_back(control);
    return controls;
  }

 private:
  CheckPort& checks_;
  std::unordered_map<std::string, std::size_t> places_;
  std::map<std::size_t, Value> chosen_;
};

}  // namespace

/// What is planned for every object of one rule; asked once for each validation.
struct Validator::RuleControls {
  bool is_verifiable = false;
  std::vector<Value> object;
  std::vector<Value> scene;
};

Validator::Validator(std::unique_ptr<ValidatorPort> port, Shared shared, Value checklist)
    : queue(runtime::make<Queue>()),
      port_(std::move(port)),
      shared_(std::move(shared)),
      checklist_(std::move(checklist)) {}

void Validator::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(queue);
  port_->each_reference(visitor);
  visitor(shared_.operator_object);
  visitor(shared_.hierarchy);
  visitor(shared_.pattern);
  visitor(shared_.buffer);
  visitor(checklist_);
}

void Validator::drop_references() noexcept {
  port_->drop_references();
  shared_ = Shared();
  checklist_ = Value();
}

void Validator::start() {
  if (!may_plan()) return;
  runtime::System& system = *runtime::services().system;
  queue->clear();
  const double started = system.monotonic();
  const auto mode = port_->mode();
  plan(mode);
  if (queue->is_empty()) return;
  const bool of_project = mode == facade::CheckMode::project;
  const auto record = [&] {
    foundation::guarded([&] {
      const double seconds = system.monotonic() - started;
      port_->record(seconds, of_project ? port_->project() : std::string());
    });
  };
  const foundation::Busy busy(is_running_);
  try {
    port_->operator_port()->keep_selection([this] { run_all(); });
  } catch (...) {
    record();
    throw;
  }
  record();
}

bool Validator::may_plan() const {
  const bool is_busy = is_running_ || queue->is_fixing();
  if (is_busy) foundation::log_warning("A validation is under way already");
  return !is_busy;
}

void Validator::plan(std::optional<facade::CheckMode> mode) {
  if (!may_plan()) return;
  queue->clear();
  if (mode == facade::CheckMode::project) plan_project();
  if (mode == facade::CheckMode::selection) plan_selection();
}

void Validator::add_scene_task(std::vector<Value> controls, scene::OperatorPort& scene) {
  const auto file = scene.get_current_file();
  queue->add(runtime::make<Task>(text(file.value_or("")), std::move(controls), text(kSceneTask)));
}

void Validator::plan_selection() {
  const auto scene = port_->operator_port();
  add_scene_task(port_->controls(checklist_, true), *scene);
  const std::vector<Value> controls = port_->controls(checklist_, false);
  for (const std::string& path : scene->get_selection()) {
    queue->add(runtime::make<Task>(text(path), controls, text(path)));
  }
}

void Validator::plan_project() {
  foundation::assert_that(static_cast<bool>(shared_.buffer),
                          "validating a project needs the scene buffer");
  const auto scene = port_->operator_port();
  const auto checks = port_->checks();
  SceneControls scene_controls(*checks, port_->class_order());
  std::unordered_map<std::string, RuleControls> rules;
  std::vector<Ref<Task>> noted;
  for (const scene::BucketRef& bucket : shared_.buffer->checked()) {
    for (const scene::JointRef& joint : scene::flatten(bucket->joint)) {
      // Copies: the host may change the joint while it is asked.
      const scene::Joint::Kind shared_kind = joint->shared_kind();
      const scene::JointKind& kind = *shared_kind;
      const std::optional<std::string> path = joint->path;
      if (joint->is_ghost() || !path || !kind.stamp) continue;
      if (!scene->object_exists(*path)) continue;
      const auto [entry, is_new] = rules.try_emplace(*kind.stamp);
      RuleControls& rule = entry->second;
      if (is_new && port_->is_verifiable(shared_.pattern, *kind.stamp)) {
        const Value list = port_->checklist(shared_.pattern, *kind.stamp);
        rule = {.is_verifiable = true,
                .object = port_->controls(list, false),
                .scene = port_->controls(list, true)};
        scene_controls.add(rule.scene);
      }
      if (!rule.is_verifiable) continue;
      Value icon = kind.icon ? text(*kind.icon) : Value();
      noted.push_back(runtime::make<Task>(text(*path), rule.object, Value(), std::move(icon)));
    }
  }
  add_scene_task(scene_controls.take(), *scene);
  for (Ref<Task>& task : noted) queue->add(std::move(task));
}

void Validator::run_all() {
  const auto context =
      runtime::make<RunContext>(port_->checks(), port_->statistics(), port_->operator_port());
  const auto planned = queue->tasks->items;
  const auto restore = [&] {
    // A check may have emptied the queue; what was found is shown all the same.
    if (queue->tasks->items != planned) queue->tasks->items = planned;
  };
  try {
    for (const Ref<Task>& task : planned) run(task, context);
  } catch (...) {
    restore();
    throw;
  }
  restore();
}

void Validator::run(const Ref<Task>& task, const Ref<RunContext>& context) {
  const auto controls = task->check_controls->items;
  for (const Value& control : controls) {
    CheckPort::Plan plan;
    if (!foundation::guarded_foreign([&] { plan = context->checks().plan(control); })) continue;
    const bool single = plan.tasks.size() < 2;
    for (const auto& parameters : plan.tasks) {
      task->results->items.push_back(
          runtime::make<Result>(context, task->path, plan.check_class, *parameters, single));
    }
  }
}

}  // namespace kavel::checks
