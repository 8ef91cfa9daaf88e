#include "core/projects/history.h"

#include "host/adaptors/projects.h"
#include "host/projects/projects.h"

namespace kavel::host {
namespace {

using foundation::Json;
using projects::EditToggle;
using projects::History;
using projects::Record;

/// A number or text in the core's form, null for any other object.
Json plain(const py::object& value) {
  const bool known =
      is_text(value) || py::isinstance<py::int_>(value) || py::isinstance<py::float_>(value);
  return known ? to_json(value) : Json();
}

py::dict record_map(const History& self) {
  py::dict records;
  // Copied: making faces may run foreign code.
  const std::vector<History::Entry> entries = self.entries();
  for (const History::Entry& entry : entries) {
    records[py::int_(entry.timestamp)] = expose(entry.record);
  }
  return records;
}

bool save_record(History& self, const py::object& record) {
  foundation::assert_that(py::isinstance<Record>(record), "only a record can be saved");
  return self.save_record(record.cast<Ref<Record>>());
}

void bind_content(py::class_<History>& history) {
  history.def("__iter__", [](History& self) {
    py::list records;
    for (const Ref<Record>& record : self.records()) records.append(expose(record));
    return py::iter(records);
  });
  history.def_property(
      "pointer", &History::pointer,
      [](History& self, const py::object& value) { self.select_number(plain(value)); },
      "Timestamp of the selected record, 0 for none; setting one that is not "
      "among the records changes nothing.");
  history.def_property_readonly("_pointer", &History::pointer, "As `pointer`.");
  history.def_property_readonly("_records", &record_map,
                                "Records by timestamp in order of insertion, a new dict.");
  history.def_property_readonly(
      "edit_toggle", [](const History& self) { return self.edit_toggle(); },
      "The list of records to switch between.");
  history.def_property_readonly(
      "_edit_toggle", [](const History& self) { return self.edit_toggle(); }, "As `edit_toggle`.");
  history.def_property_readonly(
      "_project_settings", [](const History& self) { return upper_end(self.document()); },
      "The document that the history belongs to.");
  history.def_property_readonly(
      "_mutex_save", [](const History& self) { return self.lock().value(); },
      "The lock that a save holds.");
  history.def_property_readonly("data", &History::data,
                                "Data of the records by the text of their timestamp.");
}

void bind_operations(py::class_<History>& history) {
  history.def("clear", &History::clear, "Removes every record.");
  history.def("bake", &History::bake, "Removes every record but the selected one.");
  history.def("load", &History::load, py::arg("file_data"),
              "Replaces the records by those of a document's data. Keys that are no numbers are "
              "skipped; nothing changes when a record is refused.");
  history.def("get_record", &History::get_record,
              "A copy of the selected record; an empty one when there is none.");
  history.def("select_record", &History::select_record, py::arg("record"),
              "Selects the stored record equal to `record`.");
  history.def("save_record", &save_record, py::arg("record"),
              "Stores `record` under the current second, selects it and saves the document. False "
              "when a save is in progress and nothing was stored. AssertionError for no record.");
  history.def_static(
      "_is_timestamp", [](const py::object& value) { return History::is_timestamp(plain(value)); },
      py::arg("value"), "Whether `value` reads as a number.");
  history.def(
      "_get_pointer",
      [](const History& self, const Json& file_data) {
        return History::choose_pointer(file_data, self.entries());
      },
      py::arg("file_data"), "Timestamp of the record that a document's data selects.");
}

}  // namespace

void bind_history(py::handle record) {
  auto history =
      define<History>(record, "History", "The saved states of a project by time of saving.");
  define_init(
      history, [](const Value& settings) { return new History(document_link(settings)); },
      py::arg("project_settings"), "Without records, for a document with a `save()`.");
  bind_content(history);
  bind_operations(history);
  bind_edit_toggle(history);
}

void bind_edit_toggle(py::handle history) {
  auto toggle = define<EditToggle>(history, "EditToggle",
                                   "The records that a user switches between, newest first.");
  define_init(
      toggle, [](const Value& history) { return new EditToggle(history_link(history)); },
      py::arg("history"), "Filled from `history`.");
  toggle.def("__iter__", [](const EditToggle& self) { return py::iter(expose(self.records())); });
  toggle.def_property_readonly(
      "_records", [](const EditToggle& self) { return self.records(); },
      "The records, a live list.");
  toggle.def_property_readonly("current", &EditToggle::current,
                               "The record shown for editing; made when there is none.");
  toggle.def_property_readonly(
      "_current", [](const EditToggle& self) { return self.shown(); },
      "The record shown for editing, or none.");
  toggle.def_property_readonly(
      "_history", [](const EditToggle& self) { return upper_end(self.history()); },
      "The history that it shows.");
  toggle.def("switch", &EditToggle::switch_to, py::arg("index"),
             "Makes the record at `index` current, dropping the edits of a promise that was; "
             "nothing happens for an index outside the list.");
  toggle.def("clear", &EditToggle::clear, "Removes every record, the current one too.");
  toggle.def("update", &EditToggle::update, "Takes the records anew; the newest is current then.");
  toggle.def("set_promise", &EditToggle::set_promise, py::arg("record").none(false),
             "Takes the records anew, puts `record` in front and makes it current.");
}

}  // namespace kavel::host
