// A check directory is a text of the interpreter, and a text has no room for a core object: it
// carries the core's directory as an attribute, and that directory knows its text.
#include "core/services/check_directories.h"
#include "host/classes.h"
#include "host/foundation/path.h"
#include "host/services/services.h"

namespace kavel::host {
namespace {

using services::CheckDirectory;

constexpr const char* kEntry = "_entry";

py::object directory_class() {
  return py::module_::import("core").attr("_Settings").attr("Check").attr("Directory");
}

py::object text_type() {
  return py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(&PyUnicode_Type));
}

/// A text of the class `type` and the folder that it stands for, which know each other.
py::object make_text(py::handle type, const Ref<CheckDirectory>& directory) {
  py::object text = text_type().attr("__new__")(type, to_text(directory->path));
  text.attr(kEntry) = expose(directory);
  directory->text = to_value(text);
  return text;
}

}  // namespace

Ref<CheckDirectory> directory_of(py::handle text) {
  const py::object entry = py::getattr(text, kEntry, py::none());
  if (!py::isinstance<CheckDirectory>(entry)) throw py::type_error("a check directory is expected");
  return entry.cast<Ref<CheckDirectory>>();
}

py::object directory_text(const Ref<CheckDirectory>& directory) {
  if (directory->text) return from_value(directory->text);
  return make_text(directory_class(), directory);
}

py::object bind_check_directory(py::handle check) {
  const py::object directory =
      plain_class(check, "Directory", "The path of a check directory, absolute and normalised.",
                  py::make_tuple(text_type()));
  [[maybe_unused]] const auto entry =
      define<CheckDirectory>(directory, "_Entry", "What a check directory's text carries.");
  static_method(
      directory, "__new__",
      [](const py::object& type, const py::object& path, std::string name, bool enabled,
         bool locked) {
        return make_text(
            type, runtime::make<CheckDirectory>(path_text(path), std::move(name), enabled, locked));
      },
      py::arg("cls"), py::arg("path"), py::arg("name") = "", py::arg("enabled") = true,
      py::arg("locked") = false);
  property(
      directory, "name", [](const py::object& self) { return directory_of(self)->name; },
      "The folder's label.");
  property(
      directory, "locked", [](const py::object& self) { return directory_of(self)->locked; },
      "Whether the user can neither disable nor remove it.");
  property(
      directory, "data", [](const py::object& self) { return directory_of(self)->data(); },
      "{\"name\", \"path\", \"enabled\"}, a fresh map.");
  const auto read =
      py::cpp_function([](const py::object& self) { return directory_of(self)->enabled(); },
                       py::is_method(directory));
  const auto write = py::cpp_function(
      [](const py::object& self, bool enabled) { directory_of(self)->set_enabled(enabled); },
      py::is_method(directory));
  directory.attr("enabled") = py::module_::import("builtins")
                                  .attr("property")(read, write, py::none(),
                                                    "Whether checks are loaded from it; setting it "
                                                    "does nothing to a locked one.");
  return directory;
}

}  // namespace kavel::host
