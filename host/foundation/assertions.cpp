#include "core/foundation/assertions.h"

#include <cmath>

#include "core/runtime/services.h"
#include "host/bindings.h"
#include "host/classes.h"
#include "host/errors.h"
#include "host/foundation/probe.h"

namespace kavel::host {
namespace {

using foundation::Answer;

Answer answer_of(py::handle object) {
  if (is_text(object)) return py::len(object) == 0 ? Answer::empty_text : Answer::text;
  if (PyLong_Check(object.ptr()) != 0) return Answer::finite_number;
  if (PyFloat_Check(object.ptr()) != 0) {
    return std::isfinite(PyFloat_AS_DOUBLE(object.ptr())) ? Answer::finite_number : Answer::other;
  }
  const auto core = py::module_::import("core");
  const py::object parameters = py::getattr(core, "Parameters", py::none());
  const py::object block = py::getattr(parameters, "Block", py::none());
  return !block.is_none() && py::isinstance(object, block) ? Answer::parameter_block
                                                           : Answer::other;
}

class ObjectProbe final : public foundation::Probe {
 public:
  explicit ObjectProbe(py::object object) : object_(std::move(object)) {}

  Answer attribute(const std::string& name) override {
    const py::object found = find(name);
    return found ? answer_of(found) : Answer::missing;
  }

  Answer call(const std::string& name, const std::optional<std::string>& argument) override {
    const py::object found = find(name);
    if (!found) return Answer::missing;
    return answer_of(argument ? found(to_text(*argument)) : found());
  }

 private:
  [[nodiscard]] py::object find(const std::string& name) const {
    try {
      return object_.attr(name.c_str());
    } catch (py::error_already_set& error) {
      if (!error.matches(PyExc_AttributeError)) throw;
      return {};
    }
  }

  py::object object_;
};

void assert_name(const py::object& name) {
  if (is_text(name)) return foundation::assert_attribute_name(from_text(name));
  const py::object wrong = error_class(foundation::ErrorKind::wrong_attribute_name);
  PyErr_SetObject(wrong.ptr(), wrong(py::arg("name") = name).ptr());
  throw py::error_already_set();
}

}  // namespace

std::unique_ptr<foundation::Probe> object_probe(const py::object& object) {
  return std::make_unique<ObjectProbe>(object);
}

void bind_assertions(py::module_& module) {
  const py::object scope =
      namespace_class(module, "_Assert", "Validity tests for objects from outside the core.");
  const py::object json = namespace_class(scope, "Json", "Tests of JSON data.");
  static_method(
      json, "clean", [](const Value& data) { return runtime::services().json->clean(data); },
      py::arg("data"),
      "Turns unified texts into plain ones, in place throughout nested maps and lists, and returns "
      "`data`; a bare text comes back in its plain form.");
  const py::object environment = namespace_class(scope, "Environment", "Tests of environments.");
  static_method(
      environment, "is_valid",
      [](const py::object& instance) {
        ObjectProbe probe(instance);
        return foundation::is_valid_environment(probe);
      },
      py::arg("instance"),
      "Whether a host's environment names its files and folders and converts paths; its exceptions "
      "are logged and count as no.");
  const py::object check = namespace_class(scope, "Check", "Tests of check classes.");
  static_method(
      check, "is_valid",
      [](const py::object& check_class) {
        ObjectProbe probe(check_class);
        return foundation::is_valid_check(probe);
      },
      py::arg("check_class"),
      "Whether a check class has an identity, its texts, a finite sort index and a parameter "
      "block; "
      "its exceptions are logged and count as no.");
  const py::object parameters = namespace_class(scope, "Parameters", "Tests of parameters.");
  const py::object input = namespace_class(parameters, "Input", "Tests of parameter inputs.");
  static_method(input, "attribute", assert_name, py::arg("name"),
                "Raises Error.WrongAttributeName for what cannot name an attribute and "
                "Error.PrivateAttributeName for a private name.");
}

}  // namespace kavel::host
