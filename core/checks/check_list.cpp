#include "core/checks/check_list.h"

#include <algorithm>
#include <utility>

#include "core/foundation/busy.h"
#include "core/foundation/logger.h"
#include "core/runtime/services.h"

namespace kavel::checks {
namespace {

using services::CheckConfig;
using services::CheckEntry;

/// The list as its own preset editor reaches it; the list lives as long as it is reached.
class OwnList final : public services::CheckListPort {
 public:
  explicit OwnList(CheckList& list) : list_(list) {}

  Ref<CheckConfig> config() override {
    return list_.config() == nullptr ? nullptr : list_.config()->native();
  }
  void load(const Ref<CheckConfig>& config) override { list_.load(check_config(config)); }
  void each_reference(runtime::ReferenceVisitor&) const override {}
  runtime::Object* owner() const noexcept override { return &list_; }

 private:
  CheckList& list_;
};

struct Made {
  std::vector<Ref<Control>> controls;
  std::vector<Ref<Category>> categories;

  void add(std::unique_ptr<CheckClassPort> check_class, ClassesPort& classes) {
    const std::string name = runtime::services().unicode->lower(check_class->category());
    auto control = runtime::make<Control>(std::move(check_class));
    auto found = std::ranges::find(categories, name,
                                   [](const Ref<Category>& category) { return category->name; });
    if (found == categories.end()) {
      found = categories.insert(found, runtime::make<Category>(name));
    }
    classes.introduce(*control);
    (*found)->controls->items.push_back(control);
    controls.push_back(std::move(control));
  }
};

}  // namespace

CheckList::CheckList(Given given)
    : controls(runtime::make<runtime::List<Ref<Control>>>()),
      categories(runtime::make<runtime::List<Ref<Category>>>()),
      classes_(std::move(given.classes)) {
  build();
  if (given.presets) {
    preset_editor_ = runtime::make<services::PresetEditor>(std::make_unique<OwnList>(*this),
                                                           std::move(given.presets));
  }
  if (given.config) load(std::move(given.config));
}

CheckList::~CheckList() {
  if (preset_editor_) preset_editor_->drop_references();
}

void CheckList::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(controls);
  visitor(categories);
  classes_->each_reference(visitor);
  if (config_) config_->each_reference(visitor);
  visitor(preset_editor_);
}

void CheckList::drop_references() noexcept {
  classes_->drop_references();
  config_.reset();
  if (preset_editor_) preset_editor_->drop_references();
}

void CheckList::build() {
  const std::int64_t reloads = classes_->reloads();
  Made made;
  for (auto& check_class : classes_->classes()) {
    foundation::guarded_foreign([&] { made.add(std::move(check_class), *classes_); });
  }
  std::swap(controls->items, made.controls);
  std::swap(categories->items, made.categories);
  reloads_ = reloads;
}

void CheckList::load(std::unique_ptr<CheckConfigPort> config) {
  if (is_loading_) return foundation::log_warning("A check list is being loaded already");
  const foundation::Busy busy(is_loading_);
  if (classes_->reloads() != reloads_) build();
  const std::shared_ptr<CheckConfigPort> bound = std::move(config);
  config_ = bound;
  if (!bound) return;
  for (const Ref<Control>& control : select(false)) {
    if (foundation::guarded_foreign([&] { load_control(*control, *bound); })) continue;
    control->enabled = false;
    control->keep(nullptr);
  }
}

void CheckList::load_control(Control& control, CheckConfigPort& config) {
  const std::string class_id = control.check_class().class_id();
  // What is missing is not stored: loading a rule's configuration must not alter the project.
  std::unique_ptr<CheckState> state = config.get(class_id, false);
  if (!state) state = check_state(runtime::make<CheckEntry>(class_id));
  control.load(std::move(state));
}

void CheckList::save() {
  const std::shared_ptr<CheckConfigPort> bound = config_;
  if (!bound) return;
  for (const Ref<Control>& control : select(false)) {
    // What could not be loaded must not be replaced by defaults.
    if (control->state() == nullptr) continue;
    std::unique_ptr<CheckState> state = bound->get(control->check_class().class_id(), true);
    control->keep(std::move(state));
    control->save();
  }
}

void CheckList::clear() {
  for (const Ref<Control>& control : select(false)) control->clear();
}

std::vector<Ref<Control>> CheckList::select(bool enabled) const {
  std::vector<Ref<Control>> selected = controls->items;
  if (enabled) {
    std::erase_if(selected, [](const Ref<Control>& control) { return !control->enabled; });
  }
  return selected;
}

std::vector<Ref<Control>> CheckList::select(bool enabled, bool scene_oriented) const {
  std::vector<Ref<Control>> selected = select(enabled);
  std::erase_if(selected, [scene_oriented](const Ref<Control>& control) {
    return control->scene_oriented() != scene_oriented;
  });
  return selected;
}

}  // namespace kavel::checks
