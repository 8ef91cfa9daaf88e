#include "core/checks/parameter_task.h"

#include <algorithm>

#include "core/runtime/services.h"

namespace kavel::checks {
namespace {

std::exception_ptr noted(const foundation::Error& error) { return std::make_exception_ptr(error); }

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
    slots.push_back({.input = slot.input->clone(), .other = {}});
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
}

ParameterTask::ParameterTask(const Slots& slots, bool as_info)
    : ParameterTask(runtime::make<ParameterOriginal>(slots), as_info) {}

ParameterTask::ParameterTask(Ref<ParameterOriginal> original, bool as_info)
    : as_info(as_info), original_(std::move(original)) {}

void ParameterTask::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(original_);
  visitor(own_);
}

void ParameterTask::drop_references() noexcept { own_.clear(); }

void ParameterTask::load(const Json& state) {
  const auto note = [this] {
    if (!load_errors_) load_errors_ = std::make_unique<std::vector<std::exception_ptr>>();
    load_errors_->push_back(std::current_exception());
  };
  try {
    if (state.is_null()) return;
    if (state.map() == nullptr) {
      throw foundation::Error(foundation::ErrorKind::type,
                              "the stored values of a check must be a JSON object");
    }
  } catch (...) {
    return note();
  }
  for (const auto& [attr, value] : *state.map()) {
    try {
      const Ref<Input> input = find(attr);
      if (!input) throw foundation::Error(foundation::ErrorKind::key, attr);
      input->load(value);
    } catch (...) {
      if (!runtime::services().faults->report(std::current_exception())) throw;
      note();
    }
  }
}

void ParameterTask::assert_no_errors() const {
  if (!original_->errors.empty()) std::rethrow_exception(original_->errors.front());
  if (load_errors_) std::rethrow_exception(load_errors_->front());
}

Ref<ParameterTask> ParameterTask::clone() const {
  auto copy = runtime::make<ParameterTask>(freeze(), as_info);
  if (load_errors_) {
    copy->load_errors_ = std::make_unique<std::vector<std::exception_ptr>>(*load_errors_);
  }
  return copy;
}

Ref<ParameterOriginal> ParameterTask::freeze() const {
  if (own_.empty()) return original_;
  if (!original_->may_change_unnoticed && original_->edits_seen == edits()) return original_;
  Slots current;
  current.reserve(size());
  for (std::size_t place = 0; place < size(); ++place) {
    const bool has_own = static_cast<bool>(own_[place]);
    const Slot& frozen = original_->slots[place];
    current.push_back(has_own ? Slot{.input = own_[place], .other = {}} : frozen);
  }
  auto renewed = runtime::make<ParameterOriginal>(current);
  original_ = renewed;
  return renewed;
}

Slot ParameterTask::slot(std::size_t place) const {
  const Slot& frozen = original_->slots[place];
  if (!frozen.input) return frozen;
  if (own_.empty()) own_.resize(size());
  if (!own_[place]) {
    // A derived class runs its own code here and may come back for the same input.
    Ref<Input> copy = frozen.input->clone();
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

const Input& ParameterTask::readable(std::size_t place) const {
  const bool has_own = place < own_.size() && own_[place];
  return has_own ? *own_[place] : *original_->slots[place].input;
}

Json ParameterTask::state() const {
  Json::Map state;
  for (const auto& [attr, place] : original_->table) {
    state.emplace_back(attr, readable(place).data());
  }
  return state;
}

std::vector<std::exception_ptr> ParameterTask::load_errors() const {
  return load_errors_ ? *load_errors_ : std::vector<std::exception_ptr>();
}

}  // namespace kavel::checks
