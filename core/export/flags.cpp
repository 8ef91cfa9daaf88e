#include "core/export/flags.h"

#include <string>

#include "core/foundation/errors.h"

namespace kavel::exporting {

using foundation::Json;

void Flags::load(const Json& data) {
  if (data.map() == nullptr) {
    throw foundation::Error(foundation::ErrorKind::type, "export flags are read from an object");
  }
  for (const FlagField& row : kFlagFields) {
    const Json* value = data.find(row.name);
    foundation::assert_that(value == nullptr || value->boolean() != nullptr,
                            "\"" + std::string(row.name) + "\" must be true or false");
  }
  for (const FlagField& row : kFlagFields) this->*row.field = data.boolean_or(row.name, false);
}

Json Flags::data() const {
  Json data = Json::Map();
  for (const FlagField& row : kFlagFields) data.set(row.name, this->*row.field);
  return data;
}

}  // namespace kavel::exporting
