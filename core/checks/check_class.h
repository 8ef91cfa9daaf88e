// A check class of the interpreter, as the core reads it. Attributes are read when they are asked
// for: a class may answer differently later, and whatever it raises comes through.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "core/checks/block.h"
#include "core/foundation/assertions.h"

namespace kavel::checks {

class CheckClassPort {
 public:
  virtual ~CheckClassPort() = default;
  /// The class itself.
  [[nodiscard]] virtual const Value& object() const noexcept = 0;
  /// As its author wrote it in the source.
  [[nodiscard]] virtual std::string source_name() const = 0;

  [[nodiscard]] virtual std::string class_id() const = 0;
  [[nodiscard]] virtual std::string short_name() const = 0;
  [[nodiscard]] virtual std::string description() const = 0;
  [[nodiscard]] virtual std::string category() const = 0;
  [[nodiscard]] virtual double sort_index() const = 0;
  /// Whether it inspects the scene as a whole.
  [[nodiscard]] virtual bool scene_oriented() const = 0;
  /// A new block of its parameters. Throws a type error for anything else that the class returns.
  [[nodiscard]] virtual Ref<Block> parameters() const = 0;

  /// Number of classes in its method resolution order, itself and the root of all included.
  [[nodiscard]] virtual std::size_t lineage() const = 0;
  [[nodiscard]] virtual std::unique_ptr<foundation::Probe> probe() const = 0;
};

}  // namespace kavel::checks
