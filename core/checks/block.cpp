#include "core/checks/block.h"

#include <algorithm>

namespace kavel::checks {
namespace {

Json default_state(const Slots& inputs) {
  Json state = Json::Map();
  for (const Slot& slot : inputs) {
    // Of inputs with one name the first stays usable, so its value is the default.
    if (slot.input && state.find(slot.input->attr()) == nullptr) {
      state.set(slot.input->attr(), slot.input->data());
    }
  }
  return state;
}

}  // namespace

Block::Block(Slots inputs, bool as_info, bool complex)
    : tasks(runtime::make<runtime::List<Task>>()),
      as_info(as_info),
      complex(complex),
      inputs_(std::move(inputs)),
      state_(default_state(inputs_)) {}

void Block::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(tasks);
  for (const Slot& slot : inputs_) {
    visitor(slot.input);
    visitor(slot.other);
  }
}

void Block::drop_references() noexcept { inputs_.clear(); }

Ref<Block> Block::clone() const { return runtime::make<Block>(inputs_, as_info, complex); }

void Block::load(const Json& data) {
  const Json usual = defaults();
  const bool has_tasks = data.array() != nullptr && !data.array()->empty();
  std::vector<Task> loaded;
  for (const Json& stored : *(has_tasks ? data : usual).array()) {
    auto task = runtime::make<ParameterTask>(inputs_, stored.boolean_or("as_info", as_info));
    const Json* state = stored.find("state");
    if (stored.map() == nullptr) {
      task->load(stored);
    } else if (state != nullptr) {
      task->load(*state);
    }
    loaded.push_back(std::move(task));
  }
  std::swap(tasks->items, loaded);
  update_numerator();
}

void Block::append_task() {
  auto task = runtime::make<ParameterTask>(inputs_, as_info);
  task->load(state_);
  tasks->items.push_back(std::move(task));
  update_numerator();
}

void Block::remove_task(const ParameterTask& task) {
  const auto found = std::ranges::find(tasks->items, &task, [](const Task& t) { return t.get(); });
  if (found == tasks->items.end()) return;
  [[maybe_unused]] const Task removed = *found;
  tasks->items.erase(found);
  update_numerator();
}

void Block::update_numerator() {
  std::int32_t number = 0;
  for (const Task& task : tasks->items) task->number = ++number;
}

void Block::reset() {
  std::vector<Task> removed;
  std::swap(tasks->items, removed);
}

Json Block::defaults() const {
  return Json::Array{Json::Map{{"as_info", as_info}, {"state", state_}}};
}

Json Block::data() const {
  Json::Array array;
  const auto current = tasks->items;
  for (const Task& task : current) array.push_back(task->data());
  return array;
}

}  // namespace kavel::checks
