#include "core/checks/validator.h"

#include <utility>

#include "core/foundation/errors.h"

namespace kavel::checks {

Validator::Validator(Shared shared, runtime::Ref<WorkspaceCheckList> list)
    : checklist(std::move(list)), queue(runtime::make<Queue>()), shared_(std::move(shared)) {}

void Validator::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(checklist);
  visitor(queue);
  visitor(shared_.api);
  visitor(shared_.operator_object);
  visitor(shared_.hierarchy);
  visitor(shared_.buffer);
}

void Validator::drop_references() noexcept { shared_ = Shared(); }

void Validator::start() { throw foundation::not_implemented("validation"); }

}  // namespace kavel::checks
