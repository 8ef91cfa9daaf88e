#include "core/scene/scanner.h"

#include "host/adaptors/notifier.h"
#include "host/adaptors/operator.h"
#include "host/bindings.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using scene::BucketRef;
using scene::Scanner;

py::list to_list(const std::vector<BucketRef>& buckets) {
  py::list list;
  for (const BucketRef& bucket : buckets) list.append(expose(bucket));
  return list;
}

void bind_steps(py::class_<Scanner>& scanner) {
  scanner.def(
      "_find_scope_roots",
      [](Scanner& self) { return self.find_scope_roots(self.port().get_selection()); },
      "Paths of the scopes in which the selected objects stand; distinct, in their order.");
  scanner.def("_find_scope_root", &Scanner::find_scope_root, py::arg("path"),
              "Path of the nearest object that can stand for the ghost item, else the topmost.");
  scanner.def(
      "_scan",
      [](Scanner& self, const std::vector<std::string>& roots) {
        return to_list(self.scan(roots, {}).buckets);
      },
      py::arg("roots"), "New buckets for what matches below the paths.");
  scanner.def(
      "_filter",
      [](const Scanner&, const py::object& buckets) {
        return to_list(scene::without_repeats(detail::elements<BucketRef>(buckets)));
      },
      py::arg("buckets"), "The buckets without those that equal an earlier one.");
  scanner.def(
      "_choose_name",
      [](const Scanner&, const py::args& names) {
        std::vector<std::string> candidates;
        for (const py::handle name : names) {
          if (!name.is_none()) candidates.push_back(from_text(name));
        }
        return scene::choose_name(candidates);
      },
      "The first of the names that is not empty, else an empty text.");
}

void bind_scanner_fields(py::class_<Scanner>& scanner) {
  scanner.def_property_readonly("_api", &Scanner::api, "The `Api`.");
  scanner.def_property_readonly(
      "_op", [](const Scanner& self) { return self.port().object(); }, "The host's operator.");
  scanner.def_property_readonly("_virtual", &Scanner::scene, "The virtual scene.");
  scanner.def_property_readonly("_hierarchy", &Scanner::matcher, "The hierarchy matcher.");
  scanner.def_property_readonly("_buffer", &Scanner::buffer, "The scene buffer.");
  scanner.def_property_readonly(
      "_callbacks", [](const Scanner& self) { return self.notifier().object(); },
      "The notification lists.");
}

}  // namespace

void bind_scanner(py::module_& module) {
  auto scanner = define<Scanner>(module.attr("Scene"), "_Scanner",
                                 "Finds the hierarchies under the selection that match.");
  define_init(
      scanner,
      [](const py::object& api, const py::object& op, const Ref<scene::Virtual>& scene,
         const Ref<hierarchy::Matcher>& hierarchy, const Ref<scene::Buffer>& buffer,
         const py::object& callbacks) {
        return new Scanner(to_value(api), operator_port(op), scene, hierarchy, buffer,
                           notifier(callbacks));
      },
      py::arg("api"), py::arg("op"), py::arg("virtual").none(false),
      py::arg("hierarchy").none(false), py::arg("buffer").none(false), py::arg("callbacks"));
  scanner.def(
      "upload_buffer", &Scanner::upload_buffer, py::arg("append"),
      "Scans the selection; adds what matches to the buffer, or with `append` false puts it in\n"
      "place of all it holds. Returns whether anything was stored; failures are logged.");
  scanner.def("reload_buffer", &Scanner::reload_buffer,
              "Reads every bucket anew that is still valid, sorts and embeds. Returns the status;\n"
              "failures are logged and leave the buffer as it was.");
  bind_steps(scanner);
  bind_scanner_fields(scanner);
}

}  // namespace kavel::host
