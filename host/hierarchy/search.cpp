#include "core/hierarchy/search.h"

#include "host/adaptors/query.h"
#include "host/hierarchy/bindings.h"
#include "host/sequence.h"

namespace kavel::host {
namespace {

using hierarchy::Scope;
using hierarchy::Search;
using runtime::List;

/// One assignment as the host sees it.
struct BoundResponse final : Object {
  BoundResponse(Value at, Ref<Scope> to) : location(std::move(at)), scope(std::move(to)) {}
  void each_reference(runtime::ReferenceVisitor& visitor) const override {
    visitor(location);
    visitor(scope);
  }
  void drop_references() noexcept override { location = Value(); }

  Value location;
  Ref<Scope> scope;
};

struct BoundResult final : Object {
  explicit BoundResult(std::vector<Value> responses)
      : array(runtime::make<List<Value>>(std::move(responses))) {}
  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(array); }

  Ref<List<Value>> array;
};

py::object location_at(const scene::Snapshot& table, scene::Id object) {
  py::list children;
  for (const scene::Id child : table.children(object)) children.append(to_text(table.path(child)));
  const py::object make =
      py::module_::import("core").attr("Scene").attr("_Virtual").attr("_Location");
  return make(to_text(table.name(object)), to_text(table.path(object)), to_text(table.type(object)),
              children);
}

Ref<BoundResult> result_of(const Search& search, const std::vector<hierarchy::Response>& found) {
  std::vector<Value> responses;
  for (const auto& [object, scope] : found) {
    const py::object location = location_at(search.scene().table(), object);
    responses.push_back(to_value(expose(runtime::make<BoundResponse>(to_value(location), scope))));
  }
  return runtime::make<BoundResult>(std::move(responses));
}

void bind_result(py::handle search) {
  auto response = define<BoundResponse>(search, "Response", "One assignment of a level.");
  define_init(
      response,
      [](const py::object& location, const Ref<Scope>& scope) {
        return new BoundResponse(to_value(location), scope);
      },
      py::arg("location"), py::arg("scope"));
  response.def_property_readonly(
      "location", [](const BoundResponse& self) { return self.location; }, "The scene location.");
  response.def_property_readonly(
      "scope", [](const BoundResponse& self) { return self.scope; },
      "The pattern item that took it.");
  auto result = define<BoundResult>(search, "Result", "The assignments of a level, iterable.");
  define_init(
      result, [](const py::object& array) { return new BoundResult(values(array)); },
      py::arg("array"));
  result.def("__iter__",
             [](const BoundResult& self) { return py::iter(py::list(expose(self.array))); });
  result.def_property_readonly(
      "_array", [](const BoundResult& self) { return self.array; }, "The responses.");
  result.def(
      "is_empty", [](const BoundResult& self) { return self.array->items.empty(); },
      "Whether there is no assignment.");
}

void bind_steps(py::class_<Search>& search) {
  search.def(
      "load_variables",
      [](Search& self, const std::vector<std::string>& roots, const py::object& scopes,
         bool exact) { self.load_variables(roots, detail::elements<Ref<Scope>>(scopes), exact); },
      py::arg("roots"), py::arg("scopes"), py::arg("exact") = true,
      "Takes the paths and items of a level.");
  search.def("backup_state", &Search::backup_state, "Keeps a clone of the captures.");
  search.def("reset_state", &Search::reset_state, "Goes back to the kept captures.");
  search.def("make_guess", &Search::make_guess, "Assigns the objects of the level, greedily.");
  search.def("wrong_guess", &Search::wrong_guess,
             "Whether the guess breaks a range or leaves over.");
  search.def(
      "create_response",
      [](const Search& self, bool empty) {
        if (empty) return result_of(self, {});
        return result_of(self, self.responses());
      },
      py::arg("empty") = false, "The result of the guess; an empty one on demand.");
  search.def(
      "scope_match",
      [](Search& self, const py::object& location, const Scope& scope) {
        const py::object type = location.attr("type");
        return self.scope_match(from_text(location.attr("name")), from_text(location.attr("path")),
                                is_text(type) ? from_text(type) : std::string(),
                                py::len(location.attr("children")) > 0, scope);
      },
      py::arg("location"), py::arg("scope"),
      "Whether the location fits the item; records its captures when it does.");
}

}  // namespace

void bind_search(py::handle hierarchy) {
  auto search = define<Search>(hierarchy, "Search",
                               "Assigns the objects of one level to the items of that level.");
  bind_result(search);
  define_init(
      search, [](const py::object& query) { return new Search(query_port(query)); },
      py::arg("operator"));
  search.def_property_readonly("logic", &Search::logic, "The anchor logic.");
  search.def_property_readonly("_state", &Search::backup, "The captures kept by the last backup.");
  search.def_property_readonly(
      "_exact", [](const Search& self) { return self.level().exact(); },
      "Whether every object of the level must be assigned.");
  search.def(
      "layer",
      [](Search& self, const std::vector<std::string>& roots, const py::object& scopes,
         bool exact) {
        return result_of(self, self.layer(roots, detail::elements<Ref<Scope>>(scopes), exact));
      },
      py::arg("roots"), py::arg("scopes"), py::arg("exact") = true,
      "Searches one level on the captures of the last question; empty for a wrong guess.");
  bind_steps(search);
}

}  // namespace kavel::host
