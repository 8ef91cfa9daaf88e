#include "host/adaptors/notifier.h"

namespace kavel::host {
namespace {

class HostNotifier final : public facade::Notifier {
 public:
  explicit HostNotifier(py::handle callbacks) : callbacks_(to_value(callbacks)) {}

  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(callbacks_); }
  void drop_references() noexcept override { callbacks_ = Value(); }
  Value object() const override { return callbacks_; }
  void fire(const char* name) override { from_value(callbacks_).attr(name)(); }

 private:
  Value callbacks_;
};

}  // namespace

std::unique_ptr<facade::Notifier> notifier(py::handle callbacks) {
  return std::make_unique<HostNotifier>(callbacks);
}

}  // namespace kavel::host
