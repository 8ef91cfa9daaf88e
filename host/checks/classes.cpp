#include "core/checks/classes.h"

#include "core/facade/constants.h"
#include "host/adaptors/check_class.h"
#include "host/checks/check_list.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using checks::Classes;
using checks::ClassReport;

void bind_report(py::handle classes) {
  auto report = define<ClassReport>(classes, "Report", "What became of a file or class.");
  const auto text = [&report](const char* name, std::string ClassReport::Note::*field,
                              const char* doc) {
    report.def_property_readonly(
        name, [field](const ClassReport& self) { return self.note.*field; }, doc);
  };
  text("file", &ClassReport::Note::file, "The module's file, or the folder.");
  text("module", &ClassReport::Note::module, "The module's bare name; empty for a folder.");
  text("class_name", &ClassReport::Note::class_name, "Empty for a file or folder.");
  text("class_id", &ClassReport::Note::class_id, "Empty for what has none.");
  text("outcome", &ClassReport::Note::outcome,
       "\"loaded\", \"denied\", \"duplicate\", \"failed\", \"intermediate\" (derives straight from "
       "the base) or \"disabled\".");
  text("reason", &ClassReport::Note::reason, "Why, in one line.");
  text("traceback", &ClassReport::Note::traceback, "Of the exception that was raised, if any.");
  bind_list<Ref<ClassReport>>(classes, "_ReportList", "A live list of reports.");
}

void bind_contents(py::class_<Classes>& classes) {
  classes.def_property_readonly(
      "report", [](const Classes& self) { return self.report; },
      "What became of each folder, file and class of the last search, a live list.");
  classes.def_property_readonly("reloads", &Classes::reloads, "How often classes were loaded.");
  classes.def_property_readonly(
      "_directories", [](const Classes& self) { return self.source().object(); },
      "The check directories, as given.");
  classes.def_property_readonly("_directory", &Classes::directory,
                                "The directory that was searched last.");
  classes.def_property_readonly(
      "_array", [](const Classes& self) { return self.accepted; },
      "The accepted classes, a live list.");
  classes.def_property_readonly(
      "_denied", [](const Classes& self) { return self.denied; },
      "The denied classes, a live list.");
  classes.def_property_readonly(
      "_table",
      [](const Classes& self) {
        py::dict table;
        const std::map<std::string, Value> entries = self.table();
        for (const auto& [id, found] : entries) table[to_text(id)] = from_value(found);
        return table;
      },
      "A copy: class id -> class.");
  classes.def_property_readonly(
      "_group_order",
      [](const Classes&) {
        py::list order;
        for (const auto& category : facade::kCheckCategories) order.append(to_text(category.text));
        return order;
      },
      "The known categories in the order of their groups.");
}

}  // namespace

void bind_check_classes(py::handle scope) {
  auto classes =
      define<Classes>(scope, "_Classes", "The check classes of the enabled check directories.");
  bind_report(classes);
  define_init(
      classes,
      [](const py::object& directories) {
        if (is_text(directories)) {
          throw py::type_error("directories must be an iterable of folders, not one text");
        }
        return new Classes(class_source(to_value(directories)));
      },
      py::arg("directories"),
      "directories: any iterable of folders; one whose `enabled` is false is not searched. Loads "
      "the classes at once. Errors: TypeError for a text.");
  classes.def("reload", &Classes::reload,
              "Loads every module of the directories anew. What fails is in `report` and logged.");
  classes.def("__iter__", [](const Classes& self) { return py::iter(expose(self.accepted)); });
  classes.def(
      "get",
      [](const Classes& self, const py::object& class_id) {
        return is_text(class_id) ? self.get(from_text(class_id)) : Value();
      },
      py::arg("class_id"), "The class with this identity, or none for any other value.");
  classes.def(
      "get_denied", [](const Classes& self) { return self.denied; },
      "The classes that failed the validity test, a live list.");
  bind_contents(classes);
}

}  // namespace kavel::host
