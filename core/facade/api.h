// The one object that a host makes: it builds every component in a fixed order and is the way to
// all of them.
#pragma once

#include <span>

#include "core/facade/notifications.h"
#include "core/runtime/object.h"

namespace kavel::facade {

/// What `Api` builds, in the order in which it is built.
enum class Part {
  environment,
  settings,
  statistics,
  classes,
  virtual_scene,
  hierarchy,
  buffer,
  validator,
  exporter,
  project,
  scene,
  http,
};

/// Makes the parts by the classes that a host sees, so that each is an object of the interpreter
/// from its start and stand-ins of the host's own objects work.
class Assembly {
 public:
  virtual ~Assembly() = default;
  /// Whether `environment` passes the environment assertion.
  [[nodiscard]] virtual bool accepts_environment(const runtime::Value& environment) = 0;
  /// The check directories of `settings`, with `checks` registered as the embedded ones.
  [[nodiscard]] virtual runtime::Value embed_checks(const runtime::Value& settings,
                                                    const runtime::Value& checks) = 0;
  /// A new part from positional arguments, but for the exporter's options, its last argument.
  [[nodiscard]] virtual runtime::Value make(Part part,
                                            std::span<const runtime::Value> arguments) = 0;
  /// Makes the operator remove the callbacks that it registered with its application.
  virtual void delete_callbacks(const runtime::Value& operator_object) = 0;
};

class Api final : public runtime::Object {
 public:
  void each_reference(runtime::ReferenceVisitor& visitor) const override;
  void drop_references() noexcept override;

  /// What the host hands in; everything but the operator may be none.
  struct Given {
    runtime::Value operator_object;
    runtime::Value environment;
    runtime::Value export_options;
    runtime::Value checks;
  };

  /// Builds the components one after the other; each receives this object and may use what stands
  /// before it. This object has its face already. On an exception nothing is kept.
  void build(const Given& given, Assembly& assembly);

  /// Deletes the host's callbacks, then empties every notification list; when the host fails, the
  /// lists stay as they are.
  void shutdown(Assembly& assembly);

  runtime::Value operator_object;
  runtime::Ref<Notifications> callbacks;
  runtime::Value environment;
  runtime::Value settings;
  runtime::Value statistics;
  runtime::Value validator;
  runtime::Value exporter;
  runtime::Value project;
  runtime::Value scene;
  runtime::Value http;

 private:
  void build_components(const Given& given, Assembly& assembly);
};

}  // namespace kavel::facade
