#include "host/adaptors/projects.h"

#include "core/projects/document.h"
#include "host/sequence.h"

namespace kavel::host {

using projects::Record;

std::optional<std::int64_t> HistoryStandIn::selected() {
  const py::object pointer = object().attr("pointer");
  if (!py::isinstance<py::int_>(pointer)) return std::nullopt;
  const foundation::Json json = to_json(pointer);
  return json.integer() == nullptr ? std::nullopt : std::optional(*json.integer());
}

void HistoryStandIn::select(std::int64_t timestamp) {
  object().attr("pointer") = py::int_(timestamp);
}

bool HistoryStandIn::save_record(const Ref<Record>& record) {
  return !object().attr("save_record")(expose(record)).is(py::bool_(false));
}

std::vector<Ref<Record>> HistoryStandIn::records() {
  return detail::elements<Ref<Record>>(object());
}

void DocumentStandIn::save() { object().attr("save")(); }

void CollectionStandIn::save_project(const Ref<projects::Document>& document) {
  object().attr("save_project")(expose(document));
}

projects::Uplink<projects::HistoryPort> history_link(const Value& object) {
  return projects::Uplink<projects::HistoryPort>(std::make_unique<HistoryStandIn>(object));
}

projects::Uplink<projects::DocumentPort> document_link(const Value& object) {
  return projects::Uplink<projects::DocumentPort>(std::make_unique<DocumentStandIn>(object));
}

projects::Uplink<projects::CollectionPort> collection_link(const Value& object) {
  return projects::Uplink<projects::CollectionPort>(std::make_unique<CollectionStandIn>(object));
}

}  // namespace kavel::host
