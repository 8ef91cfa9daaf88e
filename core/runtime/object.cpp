#include "core/runtime/object.h"

namespace kavel::runtime {
namespace {

void (*make_face)(const Object& object) = nullptr;

}  // namespace

void install_face_maker(void (*maker)(const Object& object)) noexcept { make_face = maker; }

void Object::ensure_face() const {
  if (face_ == nullptr && make_face != nullptr) make_face(*this);
}

void Object::retain() const noexcept {
  if (face_ != nullptr) {
    // The count now belongs to the Ref; release() takes it back.
    (void)Value::borrow(face_).detach();
  } else {
    ++count_;
  }
}

void Object::release() const noexcept {
  if (face_ != nullptr) {
    (void)Value::steal(face_);
  } else if (--count_ == 0) {
    delete this;
  }
}

void Object::attach_face(void* face, Value owner) noexcept {
  face_ = face;
  owner_face_ = std::move(owner);
  for (; count_ > 0; --count_) retain();
}

}  // namespace kavel::runtime
