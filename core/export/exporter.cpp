#include "core/export/exporter.h"

#include <utility>

#include "core/foundation/errors.h"

namespace kavel::exporting {

Exporter::Exporter(Shared shared, runtime::Ref<Options> formats)
    : options(std::move(formats)), queue(runtime::make<Queue>()), shared_(std::move(shared)) {}

void Exporter::each_reference(runtime::ReferenceVisitor& visitor) const {
  visitor(options);
  visitor(queue);
  visitor(shared_.api);
  visitor(shared_.operator_object);
  visitor(shared_.buffer);
  visitor(shared_.flags);
}

void Exporter::drop_references() noexcept { shared_ = Shared(); }

void Exporter::start() { throw foundation::not_implemented("export"); }

}  // namespace kavel::exporting
