#include "core/projects/record.h"

#include "host/adaptors/projects.h"
#include "host/projects/projects.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using foundation::Json;
using projects::Record;

void bind_content(py::class_<Record>& record) {
  record.def_readwrite("timestamp", &Record::timestamp,
                       "Time of saving in whole seconds since the epoch; 0 when not saved yet.");
  text_property(record, "author", &Record::author, "Who saved the record.");
  text_property(record, "comment", &Record::comment, "The editor's comment on the change.");
  record.def_property_readonly(
      "export", [](const Record& self) { return self.export_settings(); }, "Export settings.");
  record.def_property_readonly(
      "rules", [](const Record& self) { return self.rules(); }, "The naming rules.");
  record.def_property_readonly(
      "pattern", [](const Record& self) { return self.pattern(); }, "The tree over the rules.");
  record.def_property_readonly(
      "data", &Record::data,
      "{\"export\", \"rules\", \"pattern\", \"author\", \"comment\"}, a deep copy.");
  record.def_property_readonly(
      "_init_data", [](const Record& self) { return self.initial_data(); },
      "The data as the record was built, a deep copy.");
  record.def_property_readonly(
      "_history", [](const Record& self) { return upper_end(self.history()); },
      "The history that the record belongs to.");
}

void bind_states(py::class_<Record>& record) {
  record.def_property_readonly("is_selected", &Record::is_selected,
                               "Whether the history selects it.");
  record.def_property_readonly("is_promise", &Record::is_promise, "Whether it is not saved yet.");
  record.def_property_readonly("is_changed", &Record::is_changed,
                               "Whether it was edited since it was built or saved.");
  record.def("__eq__", [](const Record& self, const py::object& other) {
    return py::isinstance<Record>(other) && self.data() == other.cast<const Record&>().data();
  });
}

void bind_operations(py::class_<Record>& record) {
  record.def("_apply", &Record::apply, py::arg("data"),
             "Replaces the content; nothing changes when `data` is refused.");
  record.def("select", &Record::select, "Makes it the selected record unless it is a promise.");
  record.def("reset", &Record::reset, "Drops the edits made since it was built or saved.");
  record.def("clone", &Record::clone, "A copy in the same history, with the same timestamp.");
  record.def("save", &Record::save,
             "Stores a copy in the history and drops the edits here; they stay when the history "
             "is saving already or fails.");
  record.def(
      "clear_author", [](Record& self) { self.author.clear(); }, "Sets \"\".");
  record.def(
      "clear_comment", [](Record& self) { self.comment.clear(); }, "Sets \"\".");
  record.def(
      "clear_timestamp", [](Record& self) { self.timestamp = 0; }, "Makes it a promise.");
}

}  // namespace

void bind_record(py::handle settings) {
  auto record = define<Record>(settings, "Record", "One complete state of a project's content.");
  bind_list<Ref<Record>>(record, "_RecordList", "A live list of records.");
  bind_record_export(record);
  define_init(
      record,
      [](const Value& history, const Json& data, std::int64_t timestamp) {
        return new Record(history_link(history), data, timestamp);
      },
      py::arg("history"), py::arg("data"), py::arg("timestamp") = 0,
      "From a dict with the keys of `data`, of which any may be missing. AssertionError, TypeError "
      "or ValueError for values of a wrong type, with their place.");
  record.def_static(
      "emtpy",
      [](const Value& history) {
        return runtime::make<Record>(history_link(history), Json::Map());
      },
      py::arg("history"), "A new record without content, not saved yet.");
  bind_content(record);
  bind_states(record);
  bind_operations(record);
}

}  // namespace kavel::host
