#include "host/adaptors/check_class.h"

#include <limits>

#include "host/adaptors/calls.h"
#include "host/adaptors/check_state.h"
#include "host/foundation/probe.h"

namespace kavel::host {
namespace {

using checks::CheckClassPort;

/// A number of any size; what a real number cannot hold is infinite.
double number_of(const py::object& object) {
  const double number = PyFloat_AsDouble(object.ptr());
  if (number != -1.0 || PyErr_Occurred() == nullptr) return number;
  if (PyErr_ExceptionMatches(PyExc_OverflowError) == 0) throw py::error_already_set();
  PyErr_Clear();
  const double infinite = std::numeric_limits<double>::infinity();
  return object < py::int_(0) ? -infinite : infinite;
}

class HostCheckClass final : public CheckClassPort {
 public:
  explicit HostCheckClass(const py::object& object) : object_(to_value(object)) {}

  const Value& object() const noexcept override { return object_; }
  std::string source_name() const override { return text("__qualname__"); }
  std::string class_id() const override { return text("class_id"); }
  std::string short_name() const override { return text("short_name"); }
  std::string description() const override { return text("description"); }
  std::string category() const override { return text("category"); }
  double sort_index() const override { return number_of(attribute("sort_index")); }
  bool scene_oriented() const override { return truth_of(attribute("scene_oriented")); }

  Ref<checks::Block> parameters() const override {
    const py::object block = attribute("parameters")();
    if (!py::isinstance<checks::Block>(block)) {
      throw py::type_error("parameters() returned an object of class " +
                           from_text(py::type::of(block).attr("__name__")) +
                           ", not a Parameters.Block");
    }
    return block.cast<Ref<checks::Block>>();
  }

  std::size_t lineage() const override { return py::len(attribute("__mro__")); }
  std::unique_ptr<foundation::Probe> probe() const override {
    return object_probe(from_value(object_));
  }

 private:
  [[nodiscard]] py::object attribute(const char* name) const {
    return from_value(object_).attr(name);
  }
  [[nodiscard]] std::string text(const char* name) const { return from_text(attribute(name)); }

  Value object_;
};

/// A class in truth: an alias of a generic one passes for a class, but has no ancestors.
bool derives(py::handle object, py::handle base) {
  return PyType_Check(object.ptr()) != 0 && !object.is(base) &&
         PyType_IsSubtype(reinterpret_cast<PyTypeObject*>(object.ptr()),
                          reinterpret_cast<PyTypeObject*>(base.ptr())) != 0;
}

class HostClassSource final : public checks::ClassSource {
 public:
  explicit HostClassSource(Value directories) : directories_(std::move(directories)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(directories_); }
  void drop_references() noexcept override { directories_ = Value(); }
  Value object() const override { return directories_; }

  std::vector<checks::CheckFolder> folders() override {
    std::vector<checks::CheckFolder> folders;
    for (const Value& directory : values(from_value(directories_))) {
      const py::object path = from_value(directory);
      const py::object enabled = py::getattr(path, "enabled", py::bool_(true));
      folders.push_back({from_text(path), truth_of(enabled), directory});
    }
    return folders;
  }

  std::vector<std::unique_ptr<CheckClassPort>> check_classes(const Value& module) override {
    const py::object base = py::module_::import("core").attr("Check").attr("Base");
    const py::object members =
        py::module_::import("inspect").attr("getmembers")(from_value(module));
    std::vector<std::unique_ptr<CheckClassPort>> classes;
    for (const py::handle member : py::iter(members)) {
      const py::object object = member[py::int_(1)];
      if (derives(object, base)) classes.push_back(check_class(object));
    }
    return classes;
  }

 private:
  Value directories_;
};

class HostClasses final : public checks::ClassesPort {
 public:
  explicit HostClasses(const py::object& classes) : classes_(to_value(classes)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(classes_); }
  void drop_references() noexcept override { classes_ = Value(); }
  Value object() const override { return classes_; }

  std::vector<std::unique_ptr<CheckClassPort>> classes() override {
    std::vector<std::unique_ptr<CheckClassPort>> classes;
    // A pattern can do without checks.
    if (from_value(classes_).is_none()) return classes;
    for (const Value& found : values(from_value(classes_))) {
      classes.push_back(check_class(from_value(found)));
    }
    return classes;
  }

  void introduce(const Object& object) override { (void)expose(&object); }

  std::int64_t reloads() override {
    const py::object count = py::getattr(from_value(classes_), "reloads", py::none());
    if (PyLong_Check(count.ptr()) == 0) return 0;
    int overflow = 0;
    const std::int64_t reloads = PyLong_AsLongLongAndOverflow(count.ptr(), &overflow);
    return overflow == 0 ? reloads : 0;
  }

 private:
  Value classes_;
};

}  // namespace

checks::CheckList::Given check_list_parts(const py::object& classes, const py::object& presets,
                                          const py::object& config) {
  Ref<services::CheckPresets> own;
  if (py::isinstance<services::CheckPresets>(presets)) {
    own = presets.cast<Ref<services::CheckPresets>>();
  }
  return {std::make_unique<HostClasses>(classes), std::move(own), check_config(config)};
}

std::unique_ptr<CheckClassPort> check_class(const py::object& object) {
  return std::make_unique<HostCheckClass>(object);
}

std::unique_ptr<checks::ClassSource> class_source(Value directories) {
  return std::make_unique<HostClassSource>(std::move(directories));
}

}  // namespace kavel::host
