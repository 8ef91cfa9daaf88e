// One object as the matcher sees it.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "core/runtime/list.h"

namespace kavel::scene {

/// Equal and hashed by its path alone.
class Location final : public runtime::Object {
 public:
  using Children = runtime::List<std::string>;

  Location(std::string location_name, std::string location_path, std::string location_type,
           std::vector<std::string> paths)
      : name(std::move(location_name)),
        path(std::move(location_path)),
        type(std::move(location_type)),
        children(runtime::make<Children>(std::move(paths))) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(children); }

  const std::string name;
  const std::string path;
  const std::string type;
  /// Paths of the children.
  const runtime::Ref<Children> children;
};

}  // namespace kavel::scene
