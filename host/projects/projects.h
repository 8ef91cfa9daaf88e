// The bindings of the projects subsystem, in the order in which they are called: every class
// stands below `_Project`, most below its `Settings`.
#pragma once

#include <string>
#include <vector>

#include "core/foundation/errors.h"
#include "core/foundation/json.h"
#include "host/py.h"

namespace kavel::projects {
class Component;
class Document;
class ProjectsResponse;
}  // namespace kavel::projects

namespace kavel::host {

/// Defines `_Project` and, below it, `Settings`, without their members.
py::class_<projects::Component> make_project_class(py::module_& module);
py::class_<projects::Document> make_settings_class(py::handle project);

void bind_rule(py::handle settings);
void bind_rule_list(py::handle settings);
void bind_rule_tree(py::handle settings);
void bind_record_export(py::handle record);
void bind_record(py::handle settings);
void bind_history(py::handle record);
void bind_edit_toggle(py::handle history);
void bind_document(py::class_<projects::Document>& settings);
void bind_collection(py::handle project);
void bind_collection_http(py::handle collection);
void bind_header(py::handle project);
void bind_component(py::class_<projects::Component>& project);

/// The response of a host, read unless it is a `Collection.HttpResponse` already.
[[nodiscard]] Ref<projects::ProjectsResponse> projects_response(const py::object& response);

/// The text `argument`; an assertion failure that names `field` for anything else.
[[nodiscard]] inline std::string assert_text(py::handle argument, const char* field) {
  foundation::assert_that(is_text(argument), "\"" + std::string(field) + "\" must be a text");
  return from_text(argument);
}

/// A property that accepts only texts.
template <class T, class... Options>
void text_property(py::class_<T, Options...>& bound, const char* name, std::string T::*field,
                   const char* doc) {
  bound.def_property(
      name, [field](const T& self) { return self.*field; },
      [field, name](T& self, const py::object& value) { self.*field = assert_text(value, name); },
      doc);
}

/// The JSON list of any iterable but a text and a map, which stay what they are.
[[nodiscard]] inline foundation::Json list_argument(const py::object& argument) {
  if (is_text(argument) || py::isinstance<py::dict>(argument) ||
      !py::isinstance<py::iterable>(argument)) {
    return to_json(argument);
  }
  return to_json(py::list(argument));
}

/// A list of the interpreter's from texts.
[[nodiscard]] inline py::list text_list(const std::vector<std::string>& texts) {
  py::list list;
  for (const std::string& text : texts) list.append(to_text(text));
  return list;
}

}  // namespace kavel::host
