#include "core/runtime/modules.h"

#include "host/py.h"
#include "host/runtime/runtime.h"

namespace kavel::host {
namespace {

py::dict registry() {
  return py::reinterpret_borrow<py::dict>(py::module_::import("sys").attr("modules"));
}

py::object registered(const py::object& name) { return registry().attr("get")(name, py::none()); }

/// Marks the modules that were loaded here, by whatever object: one that a dropped object left
/// behind must not stand in the way of its successor.
constexpr const char* kMark = "__plug_in__";

bool is_plug_in(const py::object& module) {
  return PyModule_Check(module.ptr()) != 0 && module.attr("__dict__").contains(kMark);
}

py::object find(const runtime::ModuleEntry& entry) {
  const py::object spec = from_value(entry.importer).attr("find_spec")(to_text(entry.name));
  if (spec.is_none() || spec.attr("loader").is_none()) {
    PyErr_SetObject(PyExc_ModuleNotFoundError,
                    to_text("No module named '" + entry.name + "'").ptr());
    throw py::error_already_set();
  }
  return spec;
}

/// Runs the code from its source: a cached compilation is told from a stale one by the second and
/// the size only.
void execute(const py::object& spec, const py::object& module) {
  const py::object loader = spec.attr("loader");
  if (!py::hasattr(loader, "source_to_code") || !py::hasattr(loader, "get_data")) {
    loader.attr("exec_module")(module);
    return;
  }
  const py::object path = spec.attr("origin");
  const py::object code = loader.attr("source_to_code")(loader.attr("get_data")(path), path);
  py::module_::import("builtins").attr("exec")(code, module.attr("__dict__"));
}

/// Whether others mean another module by that name, be it imported yet or not.
bool is_taken(const py::object& name, const py::object& spec) {
  const py::module_ sys = py::module_::import("sys");
  for (const char* names : {"builtin_module_names", "stdlib_module_names"}) {
    if (py::getattr(sys, names, py::tuple()).contains(name)) return true;
  }
  const py::object found =
      py::module_::import("importlib.machinery").attr("PathFinder").attr("find_spec")(name);
  // A folder without code of its own has no origin: it would give way to a module.
  return !found.is_none() && !found.attr("origin").is_none() &&
         !found.attr("origin").equal(spec.attr("origin"));
}

/// Stands in the registry while it lives, unless the name belongs to somebody else.
class Registration {
 public:
  Registration(const py::object& name, const py::object& module, const py::object& spec)
      : name_(name), before_(registered(name)) {
    is_free_ = (before_.is_none() || is_plug_in(before_)) && !is_taken(name, spec);
    if (is_free_) registry()[name] = module;
  }

  [[nodiscard]] bool is_free() const noexcept { return is_free_; }

  /// Puts back what was there before.
  void undo() {
    if (!is_free_) return;
    if (before_.is_none()) {
      registry().attr("pop")(name_, py::none());
    } else {
      registry()[name_] = before_;
    }
  }

 private:
  py::object name_;
  py::object before_;
  bool is_free_ = false;
};

class InterpreterModules final : public runtime::Modules {
 public:
  void refresh() override { py::module_::import("importlib").attr("invalidate_caches")(); }

  std::vector<runtime::ModuleEntry> list(const std::string& directory) override {
    std::vector<runtime::ModuleEntry> entries;
    py::list folders;
    // A bare text is taken for no folder at all.
    folders.append(to_text(directory));
    for (const py::handle found :
         py::iter(py::module_::import("pkgutil").attr("iter_modules")(folders))) {
      const auto [importer, name, is_package] =
          found.cast<std::tuple<py::object, py::object, bool>>();
      entries.push_back({from_text(name), is_package, to_value(importer)});
    }
    return entries;
  }

  std::string file(const runtime::ModuleEntry& entry) override {
    const py::object importer = from_value(entry.importer);
    const py::object spec = importer.attr("find_spec")(to_text(entry.name));
    const py::object origin = spec.is_none() ? py::object(py::none()) : spec.attr("origin");
    if (is_text(origin)) return from_text(origin);
    return from_text(py::module_::import("os").attr("path").attr("join")(importer.attr("path"),
                                                                         to_text(entry.name)));
  }

  Value load(const runtime::ModuleEntry& entry, std::vector<Value>& ours) override {
    const py::object spec = find(entry);
    const py::object module = py::module_::import("importlib.util").attr("module_from_spec")(spec);
    module.attr("__dict__")[kMark] = true;
    Registration registration(to_text(entry.name), module, spec);
    try {
      execute(spec, module);
    } catch (...) {
      registration.undo();
      throw;
    }
    if (registration.is_free()) ours.push_back(to_value(module));
    return to_value(module);
  }

  void forget(const std::vector<Value>& ours) override {
    for (const Value& module : std::vector<Value>(ours)) {
      const py::object name = py::getattr(from_value(module), "__name__", py::none());
      if (registered(name).is(from_value(module))) registry().attr("pop")(name, py::none());
    }
  }

  void restore(const std::vector<Value>& ours) override {
    for (const Value& module : std::vector<Value>(ours)) {
      const py::object name = py::getattr(from_value(module), "__name__", py::none());
      if (is_text(name)) registry().attr("setdefault")(name, from_value(module));
    }
  }
};

}  // namespace

runtime::Modules* modules_port() {
  static InterpreterModules port;
  return &port;
}

}  // namespace kavel::host
