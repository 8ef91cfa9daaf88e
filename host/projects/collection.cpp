#include "core/projects/collection.h"

#include "host/adaptors/project_api.h"
#include "host/projects/projects.h"

namespace kavel::host {
namespace {

using projects::Collection;
using projects::Document;
using projects::Header;

template <class T>
py::list faces(const std::vector<Ref<T>>& references) {
  py::list list;
  for (const Ref<T>& reference : references) list.append(expose(reference));
  return list;
}

py::dict table(const Collection& self) {
  py::dict documents;
  const Collection::Table entries = self.table();
  for (const auto& [filename, document] : entries) documents[to_text(filename)] = expose(document);
  return documents;
}

void bind_queries(py::class_<Collection>& collection) {
  collection.def("__iter__",
                 [](const Collection& self) { return py::iter(faces(self.documents())); });
  collection.def_property_readonly(
      "names", [](const Collection& self) { return text_list(self.names()); },
      "Names of the projects that are not deleted, sorted.");
  collection.def_property_readonly(
      "headers", [](const Collection& self) { return faces(self.headers()); },
      "Summaries of the projects that are not deleted, by name and then by time of edit.");
  collection.def_property_readonly(
      "directory", [](const Collection& self) { return self.directory; }, "The projects folder.");
  collection.def_property_readonly(
      "_api", [](const Collection& self) { return self.api().value(); }, "The facade.");
  collection.def_property_readonly("_target", &Collection::target,
                                   "The host application whose projects are held.");
  collection.def_property_readonly("_table", &table,
                                   "Documents by file name, deleted ones included, a new dict.");
  collection.def_property_readonly(
      "_mutex_edit", [](const Collection& self) { return self.lock().value(); },
      "The lock that guards the table.");
  collection.def(
      "is_approved",
      [](const Collection& self, const py::object& settings) {
        return py::isinstance<Document>(settings) &&
               self.is_approved(settings.cast<const Document&>());
      },
      py::arg("settings"), "Whether it is a project of this target whose version is not negative.");
  // A name that is none is the name of nothing.
  collection.def(
      "get",
      [](Collection& self, const std::optional<std::string>& filename) {
        return self.get(filename.value_or(""));
      },
      py::arg("filename"),
      "The project of a file, read again when another editor made the file grow; the "
      "empty project when there is none.");
  collection.def(
      "get_file",
      [](Collection& self, const std::optional<std::string>& name) {
        return name ? self.get_file(*name) : std::nullopt;
      },
      py::arg("name"), "Path of the first project of that name, or none.");
  collection.def("get_empty", &Collection::get_empty, "A new project without a file.");
}

void bind_changes(py::class_<Collection>& collection) {
  for (const char* name : {"save_project", "_save_project"}) {
    collection.def(name, &Collection::save_project, py::arg("settings").none(false),
                   "Writes the project and stores it; fires `projects_saved` when it was written.");
  }
  collection.def("_load", &Collection::load, "Reads all project files of the folder.");
  collection.def("_load_file", &Collection::load_file, py::arg("path"),
                 "Reads one project file; it is stored only if it is approved.");
  collection.def("_erase_project", &Collection::erase_project, py::arg("filename"),
                 "Removes a stored project and its file; trouble with the file is logged.");
}

void bind_exchange(py::class_<Collection>& collection) {
  collection.def("create_http_request", &Collection::create_http_request,
                 "All projects for the server, deleted ones included, an `HttpRequest`.");
  collection.def(
      "accept_http_response",
      [](Collection& self, const py::object& response) {
        return self.accept_http_response(*projects_response(response));
      },
      py::arg("response"),
      "Takes over an `HttpResponse` or the host's own response: newer and unknown projects are "
      "written, those that are not listed are erased unless the server cannot know of them yet. "
      "Edits that give way are kept in the folder \".replaced\". False when it was not accepted "
      "or a project could not be written, which is logged.");
}

}  // namespace

void bind_collection(py::handle project) {
  auto collection =
      define<Collection>(project, "Collection", "Every project of one host application.");
  define_init(
      collection,
      [](const Value& api, std::string target) {
        return new Collection(std::make_unique<ApiStandIn>(api), std::move(target));
      },
      py::arg("api"), py::arg("target"),
      "Loads the projects of `target` from the folder of `env`.");
  bind_collection_http(collection);
  bind_queries(collection);
  bind_changes(collection);
  bind_exchange(collection);
}

void bind_header(py::handle project) {
  auto header = define<Header>(project, "Header", "A light summary of one project.");
  define_init(
      header,
      [](std::string name, std::string filename, double edit_timestamp, bool compatible) {
        return new Header(std::move(name), std::move(filename), edit_timestamp, compatible);
      },
      py::arg("name"), py::arg("filename"), py::arg("edit_timestamp"), py::arg("compatible"));
  header.def_readonly("name", &Header::name, "The project's name.");
  header.def_readonly("filename", &Header::filename, "Name of its file.");
  header.def_readonly("edit_timestamp", &Header::edit_timestamp,
                      "Time of the last edit in seconds since the epoch.");
  header.def_readonly("compatible", &Header::compatible,
                      "Whether it can be loaded by this version.");
  header.def("__str__", &Header::text, "All four values.");
  header.def("__repr__", &Header::text, "All four values.");
}

}  // namespace kavel::host
