#include "core/projects/rule.h"

#include "core/facade/constants.h"
#include "core/projects/fields.h"
#include "core/runtime/services.h"

namespace kavel::projects {
namespace {

using foundation::ErrorKind;
using foundation::Json;

constexpr std::array<PredefinedRule, 3> kPredefined = {{
    {"empty", ".+", "", "#000000", "Something"},
    {"render", ".+", facade::type::kMesh, "#4390ea", "Render"},
    {facade::type::kGhost, "", "", "#262626", "Ghost"},
}};

/// Unlike the optional fields, null is no value for these.
void read_text(const Json& data, std::string_view key, std::string& target) {
  if (const Json* value = data.find(key)) target = require_text(*value, key);
}

}  // namespace

Range::Range(const Json& minimum, const Json& maximum) {
  set_minimum(minimum);
  set_maximum(maximum);
}

Range::Range(const Json& data) {
  const Json::Array* ends = data.array();
  if (ends == nullptr || ends->size() != 2) {
    throw foundation::Error(ErrorKind::value, "\"range\" must be a list of two whole numbers");
  }
  set_minimum((*ends)[0]);
  set_maximum((*ends)[1]);
}

void Range::set_minimum(const Json& value) {
  minimum_ = require_integer(value, "minimum", ErrorKind::value);
}

void Range::set_maximum(const Json& value) {
  maximum_ = require_integer(value, "maximum", ErrorKind::value);
}

Json Range::data() const { return Json::Array{minimum_, maximum_}; }

Rule::Rule(const Json& data) : types_(runtime::make<Texts>()) {
  require_map(data, "a rule");
  read_text(data, "stamp", stamp);
  if (data.find("stamp") == nullptr) stamp = runtime::services().system->random_stamp();
  read_text(data, "name", name);
  read_text(data, "regex", regex);
  if (const Json* types = data.find("types")) set_types(*types);
  const Json* range = data.find("range");
  range_ = range == nullptr ? runtime::make<Range>() : runtime::make<Range>(*range);
  check_config = runtime::make<services::CheckConfig>(map_field(data, "checklist"));
  color = optional_text_field(data, "color");
  icon = optional_text_field(data, "icon");
}

void Rule::set_types(const Json& types) {
  if (types.array() == nullptr) {
    throw foundation::Error(ErrorKind::assertion, "\"types\" must be a list of texts");
  }
  std::vector<std::string> fresh;
  for (const Json& type : *types.array()) fresh.push_back(require_text(type, "types"));
  std::swap(types_->items, fresh);
}

bool Rule::is_ghost() const noexcept { return name == facade::type::kGhost; }

Json Rule::data() const {
  Json::Array types(types_->items.begin(), types_->items.end());
  return Json::Map{{"stamp", stamp},
                   {"name", name},
                   {"regex", regex},
                   {"types", std::move(types)},
                   {"checklist", check_config->data()},
                   {"range", range_->data()},
                   {"color", color},
                   {"icon", icon}};
}

const std::array<PredefinedRule, 3>& predefined_rules() noexcept { return kPredefined; }

runtime::Ref<Rule> make_rule(const PredefinedRule& row) {
  Json::Array types;
  if (!row.type.empty()) types.emplace_back(std::string(row.type));
  return runtime::make<Rule>(Json::Map{{"name", std::string(row.name)},
                                       {"regex", std::string(row.regex)},
                                       {"types", std::move(types)},
                                       {"color", std::string(row.color)},
                                       {"icon", std::string(row.icon)}});
}

}  // namespace kavel::projects
