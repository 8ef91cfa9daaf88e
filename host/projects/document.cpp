#include "core/projects/document.h"

#include "host/adaptors/projects.h"
#include "host/classes.h"
#include "host/projects/projects.h"

namespace kavel::host {
namespace {

using foundation::Json;
using projects::Document;
using projects::RuleList;

using Class = py::class_<Document>;

/// "version" is the version of a document on an instance and the one written here on the class; a
/// plain property would hide the latter.
void bind_version(py::handle settings) {
  const py::object descriptor = plain_class(settings, "_Version", "The version of documents.");
  method(
      descriptor, "__get__",
      [](const py::object&, const py::object& document, const py::object&) {
        if (document.is_none()) return Document::kVersion;
        return document.cast<const Document&>().version;
      },
      py::arg("instance"), py::arg("owner") = py::none(), "The version read from the file.");
  method(
      descriptor, "__set__",
      [](const py::object&, Document& document, std::int64_t version) {
        document.version = version;
      },
      py::arg("instance"), py::arg("value"), "Sets the version of a document.");
  settings.attr("version") = descriptor();
}

void bind_fields(Class& document) {
  document.def_property(
      "name", &Document::name,
      [](Document& self, const py::object& name) { self.set_name(assert_text(name, "name")); },
      "The project's name.");
  document.def_property(
      "description", &Document::description,
      [](Document& self, const py::object& text) {
        self.set_description(assert_text(text, "description"));
      },
      "Free text.");
  document.def_property("deleted", &Document::deleted, &Document::set_deleted,
                        "Whether the project is marked as deleted; its file stays.");
  document.def_readwrite("edit_timestamp", &Document::edit_timestamp,
                         "Time of the last edit in seconds since the epoch.");
  document.def_property_readonly("directory", &Document::directory, "Folder of the file.");
  document.def_property_readonly("filename", &Document::filename,
                                 "Name of the file, \"\" until one is made.");
  document.def_property_readonly("target", &Document::target,
                                 "The host application that the project is meant for.");
  document.def_property_readonly(
      "history", [](const Document& self) { return self.history(); }, "The project's records.");
  document.def_property_readonly("path", &Document::path,
                                 "Path of the file; a document without a file name gets one.");
  document.def_property_readonly("compatible", &Document::compatible,
                                 "Whether the document is of the version that is written here.");
  document.def_property_readonly("is_outdated", &Document::is_outdated,
                                 "Whether the file has grown since it was read or written here.");
  document.def_property_readonly(
      "data", &Document::data,
      "{\"name\", \"description\", \"records\", \"selected_record\", \"deleted\", \"version\", "
      "\"filename\", \"target\"}; of another version the data as read.");
  document.def_property_readonly(
      "_collection", [](const Document& self) { return upper_end(self.collection()); },
      "The collection that saves the document.");
  document.def_property_readonly("_write_timestamp", &Document::write_timestamp,
                                 "Size of the file when it was read or written here.");
}

void bind_content(Class& document) {
  document.def("__iter__", [](const Document& self) { return py::iter(expose(self.history())); });
  document.def("__eq__", [](const Document& self, const py::object& other) {
    return py::isinstance<Document>(other) && self.data() == other.cast<const Document&>().data();
  });
  document.def("apply", &Document::apply, py::arg("file_data"),
               "Replaces the content; missing keys take their defaults, the file name stays unless "
               "a safe one is given. AssertionError, TypeError or ValueError for values of a wrong "
               "type, with their place; nothing changes then.");
  document.def(
      "delete", [](Document& self) { self.set_deleted(true); }, "Marks the project as deleted.");
  document.def("get_record_promise", &Document::make_promise,
               "A new unsaved copy of the selected record, without author and comment.");
  document.def("clone", &Document::clone, "A copy in the same collection and for the same file.");
  document.def(
      "clear_name", [](Document& self) { self.set_name(""); }, "Sets \"\".");
  document.def("clear_filename", &Document::clear_filename,
               "Sets \"\"; the document gets a file of its own when it is saved.");
  document.def_static("predefined_rules", &RuleList::predefined,
                      "A new list of the rules that every project may start from.");
}

void bind_file(Class& document) {
  document.def_static(
      "init",
      [](const Value& parent, const std::string& path) {
        return Document::open(collection_link(parent), path);
      },
      py::arg("parent"), py::arg("json_path"),
      "From a file. What cannot be read or used is logged and gives an empty document.");
  document.def_static(
      "_open",
      [](const std::string& path) {
        return foundation::read_document(path, Document::kMessages).content;
      },
      py::arg("path"), "The object in a file; an empty one, with a log entry, on any failure.");
  document.def("_ensure_filename", &Document::ensure_filename,
               "Makes a file name from the name and random digits, unless there is one.");
  document.def("save", &Document::save, "Marks it edited and has the collection save it.");
  document.def("mark_edited", &Document::mark_edited,
               "Sets the time of the edit to now, and later than it was in any case.");
  document.def("write", &Document::write,
               "Replaces the file's content; False, with a log entry, when that fails.");
  document.def("reload", &Document::reload,
               "Reads the file again if it exists; a failure is logged and changes nothing.");
}

}  // namespace

Class make_settings_class(py::handle project) {
  auto document = define<Document>(project, "Settings", "One project as a document.");
  define_init(
      document,
      [](const Value& collection, std::string directory, std::string filename, const Json& data) {
        return new Document(collection_link(collection), std::move(directory), std::move(filename),
                            data);
      },
      py::arg("related_collection"), py::arg("directory"), py::arg("filename"),
      py::arg("file_data"),
      "For a collection with a `save_project(document)`. Errors as `apply` has them.");
  return document;
}

void bind_document(Class& settings) {
  bind_fields(settings);
  bind_version(settings);
  bind_content(settings);
  bind_file(settings);
}

}  // namespace kavel::host
