// The objects above a project's parts, implemented by any object of the host with the same
// attributes: a history, a document, a collection.
#pragma once

#include <memory>

#include "core/projects/ports.h"
#include "host/py.h"

namespace kavel::host {

/// Holds the host's object and shows it to the collector.
template <class Port, class Self>
class StandIn : public Port {
 public:
  explicit StandIn(Value object) : object_(std::move(object)) {}

  [[nodiscard]] std::unique_ptr<Port> copy() const override {
    return std::make_unique<Self>(object_);
  }
  [[nodiscard]] Value value() const override { return object_; }
  void each_reference(runtime::ReferenceVisitor& visitor) const override { visitor(object_); }

 protected:
  [[nodiscard]] py::object object() const { return from_value(object_); }

 private:
  Value object_;
};

/// Uses `pointer` (read and set), `save_record(record)` and iteration. An answer of exactly false
/// means that nothing was stored.
class HistoryStandIn final : public StandIn<projects::HistoryPort, HistoryStandIn> {
 public:
  using StandIn::StandIn;
  [[nodiscard]] std::optional<std::int64_t> selected() override;
  void select(std::int64_t timestamp) override;
  bool save_record(const Ref<projects::Record>& record) override;
  [[nodiscard]] std::vector<Ref<projects::Record>> records() override;
};

/// Uses `save()`.
class DocumentStandIn final : public StandIn<projects::DocumentPort, DocumentStandIn> {
 public:
  using StandIn::StandIn;
  void save() override;
};

/// Uses `save_project(document)`.
class CollectionStandIn final : public StandIn<projects::CollectionPort, CollectionStandIn> {
 public:
  using StandIn::StandIn;
  void save_project(const Ref<projects::Document>& document) override;
};

/// A link to `object`, whatever it is.
[[nodiscard]] projects::Uplink<projects::HistoryPort> history_link(const Value& object);
[[nodiscard]] projects::Uplink<projects::DocumentPort> document_link(const Value& object);
[[nodiscard]] projects::Uplink<projects::CollectionPort> collection_link(const Value& object);

/// The object at the upper end of a link, native or of the host.
template <class Port>
[[nodiscard]] py::object upper_end(const projects::Uplink<Port>& link) {
  if (const Value value = link.value()) return from_value(value);
  return expose(link.owner());
}

}  // namespace kavel::host
