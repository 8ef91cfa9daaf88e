#include "core/checks/options.h"

#include <algorithm>

#include "core/foundation/assertions.h"
#include "core/foundation/logger.h"

namespace kavel::checks {
namespace {

constexpr int kMaximumDepth = 500;

void show(runtime::ReferenceVisitor& visitor, const Nodes& nodes) {
  for (const Node& node : nodes) {
    visitor(node.input);
    visitor(node.group);
  }
}

Nodes clones_at(Nodes nodes, int depth) {  // by value: a clone may run foreign code
  if (depth > kMaximumDepth) {
    throw foundation::Error(foundation::ErrorKind::recursion, "groups are nested too deeply");
  }
  Nodes result;
  result.reserve(nodes.size());
  for (const Node& node : nodes) {
    if (node.input) {
      result.push_back({.input = node.input->clone(), .group = {}});
    } else {
      const Ref<Group> group = node.group;
      result.push_back(
          {.input = {},
           .group = runtime::make<Group>(group->label, clones_at(group->contents, depth + 1),
                                         group->visibility_switch)});
    }
  }
  return result;
}

}  // namespace

Nodes clones(const Nodes& nodes) { return clones_at(nodes, 0); }

Group::Group(std::string label, Nodes contents, std::optional<std::string> visibility_switch)
    : label(std::move(label)),
      contents(std::move(contents)),
      visibility_switch(std::move(visibility_switch)) {}

Group::~Group() {
  std::vector<Nodes> pending;
  pending.push_back(std::move(contents));
  while (!pending.empty()) {
    Nodes nodes = std::move(pending.back());
    pending.pop_back();
    for (Node& node : nodes) {
      // Only a group that nobody else knows ends here, so only that one is emptied beforehand.
      if (node.group && node.group->face() == nullptr && node.group->count() == 1) {
        pending.push_back(std::move(node.group->contents));
      }
    }
  }
}

void Group::each_reference(runtime::ReferenceVisitor& visitor) const { show(visitor, contents); }

Ref<Group> Group::clone() const {
  return runtime::make<Group>(label, clones(contents), visibility_switch);
}

Options::Options(InputTexts texts, Nodes contents)
    : texts_(std::move(texts)), contents_(std::move(contents)) {
  foundation::assert_attribute_name(texts_.attr);
  enter(contents_);
  defaults_ = state();
}

void Options::each_reference(runtime::ReferenceVisitor& visitor) const {
  show(visitor, contents_);
  for (const auto& [attr, input] : parameters_) visitor(input);
}

void Options::drop_references() noexcept {
  contents_.clear();
  parameters_.clear();
}

void Options::enter(const Nodes& nodes) {
  // A pile of positions in place of recursion; of copies, since a log entry may run foreign code.
  std::vector<std::pair<Nodes, std::size_t>> pile = {{nodes, 0}};
  while (!pile.empty()) {
    if (pile.size() > kMaximumDepth) {
      throw foundation::Error(foundation::ErrorKind::recursion, "groups are nested too deeply");
    }
    auto& [level, position] = pile.back();
    if (position == level.size()) {
      pile.pop_back();
      continue;
    }
    const Node node = level[position++];
    if (node.group) {
      pile.emplace_back(node.group->contents, 0);
      continue;
    }
    const std::string& attr = node.input->attr();
    const auto known = std::ranges::find(parameters_, attr, [](const auto& p) { return p.first; });
    if (known == parameters_.end()) {
      parameters_.emplace_back(attr, node.input);
    } else {
      foundation::log_warning("The options \"" + texts_.attr + "\" name \"" + attr +
                              "\" twice; the last one counts");
      known->second = node.input;
    }
  }
}

Json Options::state() const {
  Json::Map state;
  for (const auto& [attr, input] : parameters_) {
    if (auto value = input->option()) state.emplace_back(attr, std::move(*value));
  }
  return state;
}

Json Options::data() const {
  Json::Map differing;
  const Json now = state();
  for (const auto& [attr, value] : *now.map()) {
    const Json* usual = defaults_.find(attr);
    if (usual == nullptr || !(*usual == value)) differing.emplace_back(attr, value);
  }
  return differing;
}

void Options::reset() { apply(defaults_); }

void Options::load(const Json& data) {
  reset();
  apply(data);
}

void Options::apply(const Json& state) {
  if (state.map() == nullptr) return;
  for (const auto& [attr, value] : *state.map()) {
    Input* input = find(attr);
    if (input == nullptr || !input->set_option(value)) {
      foundation::log_warning("The options \"" + texts_.attr +
                              "\" cannot take the stored value of \"" + attr + "\"");
    }
  }
}

Ref<Options> Options::clone() const {
  auto copy = runtime::make<Options>(texts_, clones(contents_));
  copy->defaults_ = defaults_;
  return copy;
}

Input* Options::find(const std::string& attr) const {
  const auto found = std::ranges::find(parameters_, attr, [](const auto& p) { return p.first; });
  return found == parameters_.end() ? nullptr : found->second.get();
}

}  // namespace kavel::checks
