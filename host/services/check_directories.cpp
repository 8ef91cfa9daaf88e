#include "core/services/check_directories.h"

#include "host/foundation/path.h"
#include "host/services/services.h"

namespace kavel::host {
namespace {

using services::CheckDirectories;
using services::CheckDirectory;

/// A list adds its user's folders; any other iterable is taken as it comes.
std::vector<Ref<CheckDirectory>> entries_of(const py::object& directories) {
  if (py::isinstance<CheckDirectories>(directories)) {
    return directories.cast<const CheckDirectories&>().entries();
  }
  std::vector<Ref<CheckDirectory>> entries;
  for (const py::handle text : py::iter(directories)) entries.push_back(directory_of(text));
  return entries;
}

/// Takes a copy: making the texts may run foreign code.
py::list text_list(const std::vector<Ref<CheckDirectory>> directories) {
  py::list list;
  for (const auto& directory : directories) list.append(directory_text(directory));
  return list;
}

/// The file of a module; nothing for any other object.
std::optional<std::string> module_file(const py::object& module) {
  if (PyModule_Check(module.ptr()) == 0) return std::nullopt;
  const py::object file = py::getattr(module, "__file__", py::none());
  return is_text(file) ? std::optional(from_text(file)) : std::nullopt;
}

void bind_additions(py::class_<CheckDirectories>& list) {
  list.def(
      "register",
      [](CheckDirectories& self, const std::string& name, const py::object& path, bool enable) {
        return self.add(name, path_text(path), enable);
      },
      py::arg("name"), py::arg("path"), py::arg("enable") = true,
      "Appends the folder `path`; false when there is no such folder.");
  list.def(
      "append",
      [](CheckDirectories& self, const py::object& text) {
        return self.append(directory_of(text));
      },
      py::arg("directory"), "Appends a `Directory`; false when there is no such folder.");
  list.def(
      "insert",
      [](CheckDirectories& self, py::ssize_t index, const py::object& text) {
        return self.insert(index, directory_of(text));
      },
      py::arg("index"), py::arg("directory"),
      "Inserts a `Directory` before the one at `index`; false when there is no such folder.");
  list.def(
      "extend",
      [](CheckDirectories& self, const py::object& directories) {
        self.extend(entries_of(directories));
      },
      py::arg("directories"), "Appends each of a list's or iterable's folders that exists.");
  list.def(
      "embed",
      [](CheckDirectories& self, const py::object& module) { self.embed(module_file(module)); },
      py::arg("module"),
      "Makes the folder of a module's file the embedded one, \"Default\", enabled and locked; "
      "anything that is no module with a file leaves none.");
}

void bind_list_protocol(py::class_<CheckDirectories>& list) {
  list.def(
      "__iter__", [](const CheckDirectories& self) { return py::iter(text_list(self.all())); },
      "The embedded folder, then the user's.");
  list.def("__len__", [](const CheckDirectories& self) { return self.entries().size(); });
  list.def("__getitem__", [](const CheckDirectories& self, const py::object& index) -> py::object {
    return text_list(self.entries())[index];
  });
  list.def(
      "__add__",
      [](const CheckDirectories& self, const CheckDirectories& other) {
        return CheckDirectories::sum(self, other);
      },
      py::arg("other"), "A new list: the left one's folders, then the right one's.");
  list.def(
      "remove",
      [](CheckDirectories& self, const py::object& text) { self.remove(directory_of(text)); },
      py::arg("directory"), "Removes this `Directory`; nothing happens when it is not listed.");
}

}  // namespace

void bind_check_directories(py::handle check) {
  const py::object directory = bind_check_directory(check);
  auto list = define<CheckDirectories>(
      directory, "List",
      "The user's check directories in order, and one embedded one, which comes first in iteration "
      "but counts neither in the order nor in the data.");
  define_init(
      list, [](const foundation::Json& data) { return new CheckDirectories(data); },
      py::arg("data") = py::list(), "From an array as `data` gives it.");
  bind_additions(list);
  bind_list_protocol(list);
  list.def_static(
      "_is_approved",
      [](const py::object& path) { return CheckDirectories::is_approved(path_text(path)); },
      py::arg("directory"), "Whether the path is a folder that exists.");
  list.def("load", &CheckDirectories::load, py::arg("data"),
           "Replaces the user's folders by those of an array as `data` gives it; folders that are "
           "gone are left out with a warning.");
  list.def_property_readonly("data", &CheckDirectories::data,
                             "A fresh array of the user's folders' data.");
}

}  // namespace kavel::host
