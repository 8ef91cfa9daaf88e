// Objects that the interpreter can see, and counted references to them.
//
// Life cycle: an Object counts its own references (`Ref`) while only C++ knows it. The first time
// it is handed to the interpreter, or when the interpreter makes it, the host attaches the
// interpreter's object ("the face"); from then on the face owns the Object and the face's
// reference count is the only one: every Ref holds one count of it. So a face lives as long as
// anything refers to the object, keeps attributes that a host put on it, and is the same each time.
//
// Collection: cycles through faces are found by the interpreter's collector, which asks each
// Object for the references it holds (`each_reference`). An Object that has no face yet cannot be
// asked, so a reference upwards (to an owner) is a plain pointer named by `owner()`; the host
// turns it into a counted one when it attaches the face. What is below a face and has none itself
// is asked through it, as long as all who hold it are below that same face. So an object that is
// given to a second owner, where either owner may get a face of its own, is given one (`shared`).
//
// Threads: counts are guarded by the interpreter's lock, as every call into the core is.
#pragma once

#include <concepts>
#include <cstddef>
#include <utility>
#include <vector>

#include "core/runtime/value.h"

namespace kavel::runtime {

class Object;
template <class T>
class Ref;

/// Receives each counted reference that an object holds, exactly once per reference.
class ReferenceVisitor {
 public:
  virtual ~ReferenceVisitor() = default;
  virtual void value(const Value& value) = 0;
  virtual void object(const Object& object) = 0;

  void operator()(const Value& held) {
    if (held) value(held);
  }
  template <class T>
  void operator()(const Ref<T>& held) {
    if (held) object(*held);
  }
  template <class T>
  requires std::same_as<T, Value> || requires { typename T::Referent; }
  void operator()(const std::vector<T>& held) {
    for (const T& item : held) (*this)(item);
  }
};

class Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  /// Shows every Ref and Value member to `visitor`; overridden by each class that has one.
  virtual void each_reference([[maybe_unused]] ReferenceVisitor& visitor) const {}
  /// Lets go of the references that can form cycles; the object is garbage but may still be asked.
  virtual void drop_references() noexcept {}
  /// The object that holds this one and that this one calls back, or null.
  [[nodiscard]] virtual Object* owner() const noexcept { return nullptr; }

  void retain() const noexcept;
  void release() const noexcept;

  /// For the host only: the face, and the counts that C++ held before there was one.
  [[nodiscard]] void* face() const noexcept { return face_; }
  [[nodiscard]] std::size_t count() const noexcept { return count_; }
  void attach_face(void* face, Value owner) noexcept;
  /// Makes the face if there is none and a host to make it.
  void ensure_face() const;
  [[nodiscard]] const Value& owner_face() const noexcept { return owner_face_; }
  void drop_owner_face() noexcept { owner_face_ = Value(); }

 private:
  void* face_ = nullptr;
  mutable std::size_t count_ = 0;
  Value owner_face_;
};

/// A counted reference to an Object.
template <class T>
class Ref {
 public:
  using Referent = T;

  Ref() noexcept = default;
  Ref(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor): null is a reference too
  explicit Ref(T* object) noexcept : object_(object) {
    if (object_ != nullptr) object_->retain();
  }
  Ref(const Ref& other) noexcept : Ref(other.object_) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U>
  requires std::derived_from<U, T> Ref(const Ref<U>& other)
  noexcept  // NOLINT(google-explicit-constructor): upcast
      : Ref(static_cast<T*>(other.get())) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref() {
    if (object_ != nullptr) object_->release();
  }

  [[nodiscard]] T* get() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  T* operator->() const noexcept { return object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }
  /// Identity, not value.
  friend bool operator==(const Ref& left, const Ref& right) noexcept {
    return left.object_ == right.object_;
  }

 private:
  T* object_ = nullptr;
};

/// Installed by the host: gives an object its face.
void install_face_maker(void (*maker)(const Object& object)) noexcept;

/// The reference for a second owner that may have a face of its own: the object gets one too. May
/// run foreign code.
template <class T>
[[nodiscard]] Ref<T> shared(const Ref<T>& reference) {
  if (reference) reference->ensure_face();
  return reference;
}

template <class T, class... Arguments>
[[nodiscard]] Ref<T> make(Arguments&&... arguments) {
  return Ref<T>(new T(std::forward<Arguments>(arguments)...));
}

}  // namespace kavel::runtime
