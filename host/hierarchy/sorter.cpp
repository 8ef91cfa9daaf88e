#include "core/hierarchy/sorter.h"

#include "host/classes.h"
#include "host/hierarchy/bindings.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using hierarchy::Scope;
using hierarchy::SortUnit;

/// The units of one list of siblings, in the order to be obtained.
struct SortOrder {
  std::vector<SortUnit> units;
};

std::vector<Ref<Scope>> scopes_of(const py::object& siblings) {
  return detail::elements<Ref<Scope>>(siblings);
}

}  // namespace

void bind_sorter(py::handle pattern) {
  const py::object sorter = namespace_class(
      pattern, "_Sorter", "Orders siblings so that anchor definitions come before their uses.");
  auto order = py::class_<SortOrder>(sorter, "Order", "One unit for each sibling, in list order.");
  auto unit = py::class_<SortUnit>(order, "Unit", "The anchors of one sibling.");
  refuse_unmade(order);
  refuse_unmade(unit);
  unit.def(py::init([](std::size_t index, std::vector<std::string> definition,
                       std::vector<std::string> usage) {
             return SortUnit{index, std::move(definition), std::move(usage)};
           }),
           py::arg("index"), py::arg("definition"), py::arg("usage"));
  unit.def_readonly("index", &SortUnit::index, "Position in the list, from 0.");
  unit.def_readonly("definition", &SortUnit::definition, "Inner texts of its definitions.");
  unit.def_readonly("usage", &SortUnit::usage, "Inner texts of its usages.");
  order.def(py::init([](const py::object& siblings) {
              return SortOrder{hierarchy::sort_units(scopes_of(siblings))};
            }),
            py::arg("scopes"));
  order.def("__iter__", [](const SortOrder& self) {
    py::list units;
    for (const SortUnit& each : self.units) units.append(py::cast(each));
    return py::iter(units);
  });
  order.def("__len__", [](const SortOrder& self) { return self.units.size(); });
  static_method(
      sorter, "change_order", [](SortOrder& units) { hierarchy::change_order(units.units); },
      py::arg("order"), "Rearranges the units in place.");
  static_method(sorter, "has_dependency", &hierarchy::has_dependency, py::arg("definition"),
                py::arg("usage"), "Whether a usage names an anchor of the definitions.");
  static_method(
      sorter, "shuffle_scopes",
      [](const Ref<Scope::Children>& scopes, const SortOrder& units) {
        hierarchy::shuffle_scopes(*scopes, units.units);
      },
      py::arg("pattern"), py::arg("order"), "Rewrites the sibling list in the new order.");
  static_method(sorter, "sort", &hierarchy::sort_scopes, py::arg("pattern"),
                "Sorts a sibling list and every list below it, in place.");
}

}  // namespace kavel::host
