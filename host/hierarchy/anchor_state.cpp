#include "core/hierarchy/anchor_state.h"

#include "host/hierarchy/bindings.h"

namespace kavel::host {
namespace {

using hierarchy::AnchorState;

/// A map from anchor definition to its set of (scope path, captured text) pairs.
py::dict expressions(const AnchorState& self) {
  py::dict map;
  // Copied: making objects may run foreign code.
  const auto state = self.clone();
  const AnchorState::Keys& keys = *state->keys();
  for (const auto& key : keys) map[to_text(key.definition)] = py::set();
  for (std::size_t at = 0; at < state->size(); ++at) {
    const hierarchy::Capture capture = state->capture(at);
    auto captures =
        py::reinterpret_borrow<py::set>(py::object(map[to_text(keys[capture.key].definition)]));
    captures.add(py::make_tuple(to_text(capture.scope), to_text(capture.text)));
  }
  return map;
}

void set_expressions(AnchorState& self, const py::dict& map) {
  AnchorState::Keys keys;
  for (const auto& [definition, captures] : map) keys.emplace_back(from_text(definition));
  AnchorState fresh;
  fresh.set_keys(std::make_shared<const AnchorState::Keys>(std::move(keys)));
  std::uint32_t key = 0;
  for (const auto& [definition, captures] : map) {
    for (const py::handle capture : py::iter(captures)) {
      const auto pair = py::tuple(py::reinterpret_borrow<py::object>(capture));
      if (pair.size() != 2) throw py::value_error("a capture is a pair of scope path and text");
      fresh.add(key, from_text(pair[0]), from_text(pair[1]));
    }
    ++key;
  }
  self.swap(fresh);
}

}  // namespace

void bind_anchor_state(py::handle anchor) {
  auto state = define<AnchorState>(anchor, "_State", "What each anchor captured, by scope path.");
  const auto hash = [](const AnchorState& self) { return static_cast<py::ssize_t>(self.hash()); };
  define_init(state, [] { return new AnchorState(); });
  state.def_property_readonly("expressions", &expressions,
                              "A copy: anchor definition -> set of (scope path, text).");
  state.def("set", &set_expressions, py::arg("expressions"),
            "Replaces everything by a copy of the map: definition -> set of (scope path, text).");
  state.def("set_expressions", &set_expressions, py::arg("expressions"),
            "Replaces everything by a copy of the map: definition -> set of (scope path, text).");
  state.def("make_hash", hash, "The hash of the content; it is computed when asked.");
  state.def("get_hash", hash, "The hash of the content; 0 without captures.");
  state.def_property_readonly("_hash", hash, "The hash of the content; 0 without captures.");
  state.def("__hash__", hash);
  state.def("__eq__", [](const AnchorState& self, const py::object& other) {
    return py::isinstance<AnchorState>(other) && self == other.cast<const AnchorState&>();
  });
  state.def("__add__", &AnchorState::join, py::arg("other"));
  state.def("clone", &AnchorState::clone, "A deep copy.");
  state.def(
      "apply", [](AnchorState& self, const AnchorState& clone) { self.apply(clone); },
      py::arg("clone"), "Takes over the content of another state.");
}

}  // namespace kavel::host
