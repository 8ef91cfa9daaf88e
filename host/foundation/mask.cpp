#include "core/foundation/mask.h"

#include "host/bindings.h"
#include "host/classes.h"

namespace kavel::host {
namespace {

py::object core(const char* name) { return py::module_::import("core").attr(name); }
py::tuple list_base() {
  return py::make_tuple(
      py::reinterpret_borrow<py::object>(reinterpret_cast<PyObject*>(&PyList_Type)));
}

void bind_type_mapping(py::module_& module) {
  const py::object mapping =
      plain_class(module, "TypeMapping", "Class wrapper to translate from dcc spec.");
  method(
      mapping, "__init__",
      [](const py::object& self, const py::object& given) {
        // Any mapping: a host's table may be a read-only view.
        const py::dict table(given);
        const py::object unify = core("_str");
        py::dict unified;
        for (const auto& [key, value] : table) unified[unify(key)] = unify(value);
        self.attr("_table") = unified;
        self.attr("_types") = py::set(unified.attr("values")());
      },
      py::arg("table"), "From a map of host type names to unified type names.");
  method(
      mapping, "get",
      [](const py::object& self, const py::object& name) {
        return self.attr("_table").attr("get")(name);
      },
      py::arg("name"), "The unified type of a host type, or none.");
  method(
      mapping, "exist",
      [](const py::object& self, const py::object& type) {
        return self.attr("_types").contains(type);
      },
      py::arg("type"), "Whether any host type maps to the unified type.");
}

void bind_item(const py::object& mask) {
  const py::object item =
      plain_class(mask, "Item", "One choice: a list of unified types with a label.", list_base());
  method(
      item, "__init__",
      [](const py::object& self, const py::args& types, const py::str& name, const py::str& attr,
         bool mapped) {
        self.attr("extend")(types);
        self.attr("_name") = name;
        self.attr("_attr") = attr;
        self.attr("_mapped") = mapped;
      },
      py::kw_only(), py::arg("name") = "", py::arg("attr") = "", py::arg("mapped") = false,
      "From its types and, by keyword, its label, attribute name and mapped flag.");
  for (const char* field : {"name", "attr", "mapped"}) {
    property(
        item, field,
        [hidden = "_" + std::string(field)](const py::object& self) -> py::object {
          return self.attr(hidden.c_str());
        },
        "As given to the constructor.");
  }
}

void bind_set(const py::object& mask) {
  const py::object set =
      plain_class(mask, "_Set", "An ordered list of items, each also an attribute.", list_base());
  method(
      set, "__init__",
      [](const py::object& self, const py::args& items) {
        for (const py::handle item : items) {
          self.attr("append")(item);
          py::setattr(self, item.attr("attr"), item);
        }
      },
      "From its items.");
}

py::object make_item(const foundation::MaskItem& row) {
  py::list types;
  for (const std::string_view type : row.types) {
    if (!type.empty()) types.append(to_text(type));
  }
  return core("Mask").attr("Item")(*types, py::arg("name") = to_text(row.name),
                                   py::arg("attr") = to_text(row.attr),
                                   py::arg("mapped") = row.mapped);
}

void bind_fixed_set(const py::object& mask, const foundation::MaskSet& row) {
  const py::object made = plain_class(mask, std::string(row.name), std::string(row.doc),
                                      py::make_tuple(mask.attr("_Set")));
  method(
      made, "__init__",
      [&row](const py::object& self) {
        py::list items;
        for (const foundation::MaskItem& item : row.items) items.append(make_item(item));
        core("Mask").attr("_Set").attr("__init__")(self, *items);
      },
      "With all of its items.");
}

/// A fresh set without the items that the host cannot produce; they stay reachable as attributes,
/// because stored values name them.
py::object trimmed(const py::object& set_class, const foundation::MaskSet& row,
                   const py::object& mapping) {
  const py::object set = set_class();
  const auto positions = foundation::offered(row, [&](std::string_view type) {
    return mapping.attr("exist")(to_text(type)).cast<bool>();
  });
  py::list kept;
  for (const std::size_t position : positions) kept.append(set[py::int_(position)]);
  set.attr("clear")();
  set.attr("extend")(kept);
  return set;
}

}  // namespace

void bind_masks(py::module_& module) {
  bind_type_mapping(module);
  const py::object mask = plain_class(module, "Mask", "Groups of constants for assign or filter.");
  bind_item(mask);
  bind_set(mask);
  for (const foundation::MaskSet& row : foundation::mask_sets()) bind_fixed_set(mask, row);
  method(
      mask, "__init__",
      [](const py::object& self, const py::object& mapping) {
        self.attr("_mapping") = mapping;
        for (const foundation::MaskSet& row : foundation::mask_sets()) {
          const std::string name(row.name);
          const py::object set_class = py::type::of(self).attr(name.c_str());
          self.attr(name.c_str()) = trimmed(set_class, row, mapping);
        }
      },
      py::arg("mapping"), "The three sets for a host with that `TypeMapping`.");
}

}  // namespace kavel::host
