#include "core/scene/decoration.h"

#include "core/foundation/logger.h"
#include "core/runtime/services.h"

namespace kavel::scene {
namespace {

/// Logs the failure being handled; interrupts pass.
void note_failure(std::size_t earlier) {
  if (earlier == 0) {
    foundation::log_exception();
  } else if (!runtime::services().faults->report(std::current_exception())) {
    throw;
  }
}

}  // namespace

JointRef decorate(OperatorPort& port, const Draft& draft) {
  std::vector<JointRef> joints;
  joints.reserve(draft.items.size());
  try {
    for (const Draft::Item& item : draft.items) {
      auto joint = runtime::make<Joint>(item.kind, item.name, item.path);
      port.postscript_scan_append(joint);
      if (item.parent >= 0) joints.at(static_cast<std::size_t>(item.parent))->add(joint);
      joints.push_back(std::move(joint));
    }
  } catch (...) {
    undecorate(port, joints);
    throw;
  }
  return joints.at(0);
}

void undecorate(OperatorPort& port, std::span<const JointRef> joints) {
  std::size_t failures = 0;
  for (const JointRef& joint : joints) {
    try {
      port.postscript_scan_remove(joint);
    } catch (...) {
      note_failure(failures++);
    }
  }
  if (failures > 1) {
    foundation::log_warning("the host failed to take back " + std::to_string(failures) +
                            " scanned items");
  }
}

}  // namespace kavel::scene
