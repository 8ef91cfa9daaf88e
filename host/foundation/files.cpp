#include "core/foundation/access_queue.h"
#include "core/foundation/file_name.h"
#include "core/foundation/json_file.h"
#include "core/runtime/services.h"
#include "host/bindings.h"
#include "host/classes.h"
#include "host/foundation/path.h"

namespace kavel::host {
namespace {

using foundation::AccessQueue;

void bind_fields(py::class_<AccessQueue>& queue) {
  queue.def_property_readonly("_path", &AccessQueue::path, "The data file's normalised path.");
  queue.def_property_readonly("_directory", &AccessQueue::directory, "The data file's folder.");
  queue.def_property_readonly("_filename", &AccessQueue::filename, "The data file's name.");
  queue.def_property_readonly("_path_lock", &AccessQueue::path_lock, "Path of the lock marker.");
  queue.def_property_readonly("_path_id", &AccessQueue::path_id, "Path of this editor's ticket.");
  queue.def_readwrite("_write", &AccessQueue::write, "Whether leaving writes the data back.");
  queue.def_readwrite("_access_timeout", &AccessQueue::access_timeout,
                      "Seconds to wait for the lock, and again for the turn.");
  queue.def_readwrite("_life_duration_threshold", &AccessQueue::life_duration_threshold,
                      "Age in seconds from which a marker counts as left behind.");
  queue.def_property("_data", &AccessQueue::data, &AccessQueue::set_data,
                     "The file's content while the turn lasts; what leaving writes.");
}

void bind_steps(py::class_<AccessQueue>& queue) {
  queue.def("_assert_access", &AccessQueue::assert_access,
            "Waits for the turn without reading the file.");
  queue.def("_release_access", &AccessQueue::release_access,
            "Gives the turn up: removes the ticket, and the lock when nobody else is queued.");
  queue.def("_delete_outdated", &AccessQueue::delete_outdated, py::arg("path"),
            "Removes a marker older than the threshold.");
  queue.def(
      "_get_editors_sequence",
      [](AccessQueue& self) {
        foundation::FolderListing listing;
        py::list paths;
        for (const std::string& path : self.editors_sequence(listing)) paths.append(to_text(path));
        return paths;
      },
      "Paths of the tickets in the order of turns; outdated ones are removed.");
}

void bind_access_queue(const py::object& scope) {
  auto queue = define<AccessQueue>(
      scope, "AccessQueue",
      "A scoped guard around one JSON file: entering waits for the turn among all editors and "
      "gives the file's data (an empty map for a missing file), leaving writes them back if asked "
      "to.\n\nError.AccessQueueTimeout when the turn does not come in time, FileNotFoundError "
      "without the file's folder, OSError and ValueError for a file that cannot be read.");
  define_init(
      queue,
      [](const py::object& path, bool write, double access_timeout, double threshold) {
        return new AccessQueue(path_text(path), write, access_timeout, threshold);
      },
      py::arg("json_path"), py::arg("write") = false,
      py::arg("access_timeout") = AccessQueue::kAccessTimeout,
      py::arg("life_duration_threshold") = AccessQueue::kLifeDurationThreshold);
  queue.def("__enter__", &AccessQueue::enter, "Waits for the turn and returns the data.");
  queue.def(
      "__exit__",
      [](AccessQueue& self, const py::args&) {
        self.leave();
        return false;
      },
      "Writes the data if asked to, whatever happened in the scope, and gives the turn up.");
  bind_fields(queue);
  bind_steps(queue);
}

void bind_json(const py::object& file) {
  const py::object json = namespace_class(file, "Json", "Files of JSON.");
  static_method(
      json, "read", [](const py::object& path) { return foundation::read_json(path_text(path)); },
      py::arg("path"), "The parsed content of a file. OSError, or ValueError when it is no JSON.");
  static_method(
      json, "write",
      [](const py::object& path, const Value& data) {
        foundation::write_json(path_text(path), data);
      },
      py::arg("path"), py::arg("data"),
      "Replaces a file's content in one step, indented by 2 and without ASCII escaping; unified "
      "texts in `data` become plain ones. OSError or TypeError; then the old content stays.");
  bind_access_queue(json);
}

}  // namespace

void bind_files(py::module_& module) {
  const py::object file = namespace_class(module, "_File", "Reading and writing of files.");
  bind_json(file);
  const py::object text = namespace_class(file, "Text", "Files of text.");
  static_method(
      text, "read",
      [](const py::object& path) { return runtime::services().files->read_text(path_text(path)); },
      py::arg("path"), "The whole content of a text file in UTF-8. OSError, UnicodeDecodeError.");
  static_method(
      file, "timed_filename",
      [](const py::object& name) {
        return foundation::timed_filename(path_text(name), runtime::services().system->time());
      },
      py::arg("filename"), "The name with the present time in seconds behind its stem.");
  static_method(
      file, "move_corrupted",
      [](const py::object& path) { foundation::move_corrupted(path_text(path)); }, py::arg("path"),
      "Moves a file into the folder \".corrupted\" beside it; a failure is logged.");
}

}  // namespace kavel::host
