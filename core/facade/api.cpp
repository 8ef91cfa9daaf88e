#include "core/facade/api.h"

#include <initializer_list>

namespace kavel::facade {

using runtime::Value;

void Api::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(callbacks);
  for (const Value* value : {&operator_object, &environment, &settings, &statistics, &validator,
                             &exporter, &project, &scene, &http}) {
    visitor(*value);
  }
}

void Api::drop_references() noexcept {
  callbacks = nullptr;
  for (Value* value : {&operator_object, &environment, &settings, &statistics, &validator,
                       &exporter, &project, &scene, &http}) {
    *value = Value();
  }
}

void Api::build(const Given& given, Assembly& assembly) {
  try {
    build_components(given, assembly);
  } catch (...) {
    // The components built so far refer back: without this they would wait for the collector.
    drop_references();
    throw;
  }
}

void Api::build_components(const Given& given, Assembly& assembly) {
  const auto make = [&assembly](Part part, std::initializer_list<Value> arguments) {
    return assembly.make(part, std::span(arguments.begin(), arguments.size()));
  };
  const Value self = Value::borrow(face());
  const Value op = given.operator_object;
  operator_object = op;
  callbacks = runtime::make<Notifications>();
  environment = assembly.accepts_environment(given.environment) ? given.environment
                                                                : make(Part::environment, {});
  settings = make(Part::settings, {environment});
  statistics = make(Part::statistics, {environment});

  // The engine objects: one of each, shared by the components that are handed it.
  const Value directories = assembly.embed_checks(settings, given.checks);
  const Value classes = make(Part::classes, {directories});
  const Value virtual_scene = make(Part::virtual_scene, {op});
  const Value hierarchy = make(Part::hierarchy, {virtual_scene, classes});
  const Value buffer = make(Part::buffer, {op, virtual_scene, hierarchy});

  validator = make(Part::validator, {self, op, classes, hierarchy, buffer});
  exporter = make(Part::exporter, {self, op, buffer, given.export_options});
  project = make(Part::project, {self, hierarchy});
  scene = make(Part::scene, {self, op, virtual_scene, hierarchy, buffer});
  http = make(Part::http, {self});
}

void Api::shutdown(Assembly& assembly) {
  assembly.delete_callbacks(operator_object);
  if (callbacks) callbacks->clear();
}

}  // namespace kavel::facade
