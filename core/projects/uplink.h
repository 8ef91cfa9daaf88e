// The way from a part to the object above it: from a record to its history, from a history to its
// document, from a document to its collection.
//
// Life cycle: a part that the object above made is linked natively: a plain pointer, which the
// host turns into a counted reference once the part is exposed, and which ends when the object
// above dies. A part that the host made is given any object that can stand in for the one above;
// the link then holds an adaptor, which holds the host's object.
#pragma once

#include <memory>
#include <utility>

#include "core/foundation/errors.h"
#include "core/runtime/object.h"

namespace kavel::projects {

/// What the ports upwards share; only adaptors of a host's object override these.
template <class Port>
class UpwardPort {
 public:
  virtual ~UpwardPort() = default;
  [[nodiscard]] virtual std::unique_ptr<Port> copy() const { return nullptr; }
  /// The host's object.
  [[nodiscard]] virtual runtime::Value value() const { return {}; }
  virtual void each_reference([[maybe_unused]] runtime::ReferenceVisitor& visitor) const {}
};

/// Both ends of native links see it; null once the object above is gone.
template <class Port>
struct LinkCell {
  Port* port = nullptr;
  runtime::Object* object = nullptr;
};

template <class Port>
class Uplink {
 public:
  Uplink() = default;
  explicit Uplink(std::unique_ptr<Port> stand_in) : stand_in_(std::move(stand_in)) {}
  explicit Uplink(std::shared_ptr<LinkCell<Port>> cell) : cell_(std::move(cell)) {}
  Uplink(const Uplink& other)
      : cell_(other.cell_), stand_in_(other.stand_in_ ? other.stand_in_->copy() : nullptr) {}
  Uplink(Uplink&&) noexcept = default;
  Uplink& operator=(Uplink other) noexcept {
    std::swap(cell_, other.cell_);
    std::swap(stand_in_, other.stand_in_);
    return *this;
  }
  ~Uplink() = default;

  /// The object above; throws a value error when it is gone.
  [[nodiscard]] Port& port() const {
    if (stand_in_) return *stand_in_;
    if (!cell_ || cell_->port == nullptr) {
      throw foundation::Error(foundation::ErrorKind::value,
                              "the object that this one belongs to is gone");
    }
    return *cell_->port;
  }
  /// The native object above, or null.
  [[nodiscard]] runtime::Object* owner() const noexcept { return cell_ ? cell_->object : nullptr; }
  /// The host's object above, empty for a native one.
  [[nodiscard]] runtime::Value value() const {
    return stand_in_ ? stand_in_->value() : runtime::Value();
  }
  void each_reference(runtime::ReferenceVisitor& visitor) const {
    if (stand_in_) stand_in_->each_reference(visitor);
  }
  void drop() noexcept { *this = Uplink(); }

 private:
  std::shared_ptr<LinkCell<Port>> cell_;
  std::unique_ptr<Port> stand_in_;
};

/// Held by the object above; ends every link to it when it dies.
template <class Port>
class LinkEnd {
 public:
  LinkEnd(Port& port, runtime::Object& object)
      : cell_(std::make_shared<LinkCell<Port>>(LinkCell<Port>{&port, &object})) {}
  LinkEnd(const LinkEnd&) = delete;
  LinkEnd& operator=(const LinkEnd&) = delete;
  ~LinkEnd() { *cell_ = {}; }

  [[nodiscard]] Uplink<Port> link() const { return Uplink<Port>(cell_); }

 private:
  std::shared_ptr<LinkCell<Port>> cell_;
};

}  // namespace kavel::projects
