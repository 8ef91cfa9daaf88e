// The server component: request bodies out, responses in; the host carries both.
#pragma once

#include "core/runtime/object.h"

namespace kavel::services {

/// Reaches everything through the facade. This version exchanges nothing.
class Server final : public runtime::Object {
 public:
  explicit Server(runtime::Value facade) : api(std::move(facade)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override {
    visitor(api);
    visitor(last_projects);
  }
  void drop_references() noexcept override {
    api = runtime::Value();
    last_projects = runtime::Value();
  }

  runtime::Value api;
  /// The last response with projects; empty before the first.
  runtime::Value last_projects;
};

}  // namespace kavel::services
