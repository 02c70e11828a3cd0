#pragma once

#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

#include "foundation/runtime/NSObjCRuntime.h"

TELVO_NAMESPACE_BEGIN

class NSObject;

namespace foundation {
void retain(NSObject* object) noexcept;
void release(NSObject* object) noexcept;
}  // namespace foundation

// A strong reference to an object of class T, or nil. Copies may be made and dropped on any thread; one and the same
// Ref is not to be changed by two threads at once. T may be incomplete until it is used.
template <class T>
class Ref {
 public:
  constexpr Ref() noexcept = default;
  constexpr Ref(std::nullptr_t) noexcept {}
  explicit Ref(T* object) noexcept : object_(object) { foundation::retain(object_); }

  Ref(const Ref& other) noexcept : object_(other.object_) { foundation::retain(object_); }
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U>
  requires std::is_convertible_v<U*, T*> Ref(const Ref<U>& other)
  noexcept : object_(other.object_) { foundation::retain(object_); }
  template <class U>
  requires std::is_convertible_v<U*, T*> Ref(Ref<U>&& other)
  noexcept : object_(std::exchange(other.object_, nullptr)) {}

  ~Ref() { foundation::release(object_); }

  Ref& operator=(const Ref& other) noexcept {
    Ref(other).swap(*this);
    return *this;
  }
  Ref& operator=(Ref&& other) noexcept {
    Ref(std::move(other)).swap(*this);
    return *this;
  }

  // Takes over the reference that a new object is born with.
  static Ref adopting(T* object) noexcept {
    Ref reference;
    reference.object_ = object;
    return reference;
  }

  T* get() const noexcept { return static_cast<T*>(object_); }
  T* operator->() const noexcept { return get(); }
  T& operator*() const noexcept { return *get(); }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  void swap(Ref& other) noexcept { std::swap(object_, other.object_); }

  // Identity: the very same object. Equality of content is isEqual().
  template <class U>
  bool operator==(const Ref<U>& other) const noexcept {
    return object_ == other.object_;
  }
  bool operator==(std::nullptr_t) const noexcept { return object_ == nullptr; }

 private:
  template <class>
  friend class Ref;
  NSObject* object_ = nullptr;  // the root class is every class's first base, so T may stay incomplete here
};

using id = Ref<NSObject>;

// A new object of class T.
template <class T, class... Arguments>
Ref<T> make(Arguments&&... arguments) {
  return Ref<T>::adopting(new T(std::forward<Arguments>(arguments)...));
}

// The object as a T, or nil when it is nil or of another class.
template <class T, class U>
Ref<T> as(const Ref<U>& object) {
  return Ref<T>(dynamic_cast<T*>(object.get()));
}

TELVO_NAMESPACE_END

template <class T>
struct std::hash<telvo::Ref<T>> {
  std::size_t operator()(const telvo::Ref<T>& object) const noexcept { return std::hash<const void*>()(object.get()); }
};
