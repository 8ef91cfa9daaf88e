#include "core/projects/record_export.h"

#include "core/projects/fields.h"

namespace kavel::projects {

using foundation::Json;

RecordExport::RecordExport(const Json& data)
    : directory(text_field(data, "directory", "~")),
      options_(map_field(data, "options")),
      flags_(runtime::make<exporting::Flags>()) {
  flags_->load(map_field(data, "flags"));
}

void RecordExport::set_options(Json options) {
  require_map(options, "a set of export options");
  std::swap(options_, options);
}

Json RecordExport::data() const {
  return Json::Map{{"directory", directory}, {"options", options_}, {"flags", flags_->data()}};
}

}  // namespace kavel::projects
