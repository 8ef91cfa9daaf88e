#include "core/checks/parameter_task.h"

#include <algorithm>

#include "core/runtime/services.h"

namespace kavel::checks {
namespace {

/// The exception being handled, to be raised later; interrupts pass.
Value noted() {
  runtime::Faults& faults = *runtime::services().faults;
  if (!faults.report_foreign(std::current_exception())) throw;
  return faults.keep(std::current_exception());
}

Value noted(const foundation::Error& error) {
  return runtime::services().faults->keep(std::make_exception_ptr(error));
}

/// A clone of its own. A derived class may share what it carries between clones, so what is stored
/// is loaded into them.
Ref<Input> copy_of(const Input& input) {
  Ref<Input> copy = input.clone();
  if (input.is_overridden()) copy->load(input.data());
  return copy;
}

}  // namespace

ParameterOriginal::ParameterOriginal(const Slots& given) {
  using foundation::Error;
  using foundation::ErrorKind;
  slots.reserve(given.size());
  for (const Slot& slot : given) {
    if (!slot.input) {
      errors.push_back(noted(Error(ErrorKind::parameter_input_type)));
      slots.push_back(slot);
      continue;
    }
    may_change_unnoticed |= slot.input->is_overridden();
    slots.push_back(slot);
    try {
      slots.back().input = copy_of(*slot.input);
    } catch (...) {
      errors.push_back(noted());
    }
    const std::string& attr = slot.input->attr();
    if (std::ranges::find(table, attr, [](const auto& row) { return row.first; }) != table.end()) {
      errors.push_back(noted(Error::about(ErrorKind::attribute_name_repeat, attr)));
    } else {
      table.emplace_back(attr, slots.size() - 1);
    }
  }
  edits_seen = edits();
}

void ParameterOriginal::each_reference(runtime::ReferenceVisitor& visitor) const {
  for (const Slot& slot : slots) {
    visitor(slot.input);
    visitor(slot.other);
  }
  visitor(errors);
}

ParameterTask::ParameterTask(const Slots& slots, bool as_info)
    : ParameterTask(runtime::make<ParameterOriginal>(slots), as_info) {}

ParameterTask::ParameterTask(Ref<ParameterOriginal> original, bool as_info)
    : as_info(as_info), original_(std::move(original)) {}

void ParameterTask::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(original_);
  visitor(own_);
  if (load_errors_) visitor(*load_errors_);
}

void ParameterTask::drop_references() noexcept { own_.clear(); }

void ParameterTask::note_load_error() {
  Value error = noted();
  if (!load_errors_) load_errors_ = std::make_unique<std::vector<Value>>();
  load_errors_->push_back(std::move(error));
}

void ParameterTask::load(const Json& state) {
  if (state.is_null()) return;
  if (state.map() == nullptr) {
    try {
      throw foundation::Error(foundation::ErrorKind::type,
                              "the stored values of a check must be a JSON object");
    } catch (...) {
      return note_load_error();
    }
  }
  for (const auto& [attr, value] : *state.map()) {
    try {
      const Ref<Input> input = find(attr);
      if (!input) throw foundation::Error(foundation::ErrorKind::key, attr);
      input->load(value);
    } catch (...) {
      note_load_error();
    }
  }
}

void ParameterTask::assert_no_errors() const {
  runtime::Faults& faults = *runtime::services().faults;
  if (!original_->errors.empty()) faults.raise(Value(original_->errors.front()));
  if (load_errors_) faults.raise(Value(load_errors_->front()));
}

Ref<ParameterTask> ParameterTask::clone() const {
  auto copy = runtime::make<ParameterTask>(runtime::shared(freeze()), as_info);
  if (load_errors_) {
    copy->load_errors_ = std::make_unique<std::vector<Value>>(*load_errors_);
  }
  return copy;
}

bool ParameterTask::is_frozen() const noexcept {
  return own_.empty() || (!original_->may_change_unnoticed && original_->edits_seen == edits());
}

Ref<ParameterOriginal> ParameterTask::freeze() const {
  if (is_frozen()) return original_;
  Slots current = original_->slots;
  for (std::size_t place = 0; place < current.size(); ++place) {
    if (own_[place]) current[place].input = own_[place];
  }
  auto renewed = runtime::make<ParameterOriginal>(current);
  original_ = renewed;
  return renewed;
}

Slot ParameterTask::slot(std::size_t place) const {
  // A derived class runs its own code here: it may freeze the task, or come back for this input.
  const Ref<ParameterOriginal> original = original_;
  const Slot& frozen = original->slots[place];
  if (!frozen.input) return frozen;
  if (own_.empty()) own_.resize(size());
  if (!own_[place]) {
    Ref<Input> copy = copy_of(*frozen.input);
    if (!own_[place]) own_[place] = std::move(copy);
  }
  return {.input = own_[place], .other = {}};
}

Ref<Input> ParameterTask::find(const std::string& attr) const {
  for (const auto& [name, place] : original_->table) {
    if (name == attr) return slot(place).input;
  }
  return nullptr;
}

Json ParameterTask::state() const {
  const Ref<ParameterOriginal> original = original_;
  Json::Map state;
  for (const auto& [attr, place] : original->table) {
    const bool has_own = place < own_.size() && own_[place];
    const Ref<Input> input = has_own ? own_[place] : original->slots[place].input;
    state.emplace_back(attr, input->data());
  }
  return state;
}

std::vector<Value> ParameterTask::load_errors() const {
  return load_errors_ ? *load_errors_ : std::vector<Value>();
}

}  // namespace kavel::checks
