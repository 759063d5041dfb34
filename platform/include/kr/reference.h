// Intrusive reference counting.
//
//   class Mesh : public kr::ReferenceCount { ... };
//   kr::Reference<Mesh> mesh(new Mesh());   // count 1
//   kr::Reference<Mesh> other = mesh;       // count 2
//   mesh.reset();                           // count 1; the last release deletes the object
//
// The count is a plain 32-bit integer: objects are used from one thread at a time. Copying an
// object gives the copy a fresh count of zero; assigning one object to another leaves both counts
// alone. Debug builds assert that an object is not destroyed while references to it remain.
//
// Destructors of counted objects may throw (an entity's destroy notice passes on an observer's
// exception), so releasing a reference is not noexcept: the exception reaches whoever let go.
#pragma once

#include <kr/export.h>

#include <cassert>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace kr {

class KR_PLATFORM_EXPORT ReferenceCount {
 public:
  // Takes one reference.
  void ref() const noexcept { ++count_; }
  // Drops one reference; the object deletes itself when none remain.
  void unref() const {
    assert(count_ > 0 && "unref without a matching ref");
    if (--count_ == 0) delete this;
  }
  // Drops one reference without deleting the object at zero: ownership passes to whoever takes
  // it next (a Reference built from it, or a caller that deletes it).
  void unrefNoDelete() const noexcept {
    assert(count_ > 0 && "unref without a matching ref");
    --count_;
  }
  // The number of references currently held.
  std::int32_t refs() const noexcept { return count_; }

  virtual ~ReferenceCount() noexcept(false);

 protected:
  ReferenceCount() noexcept = default;
  ReferenceCount(const ReferenceCount&) noexcept {}
  ReferenceCount& operator=(const ReferenceCount&) noexcept { return *this; }

 private:
  mutable std::int32_t count_ = 0;
};

// A counted pointer holding one reference to a ReferenceCount-derived object (or none).
// Construction from a raw pointer takes a reference.
template <class T>
class Reference {
 public:
  Reference() noexcept = default;
  Reference(std::nullptr_t) noexcept {}
  Reference(T* p) noexcept : p_(p) {
    if (p_) p_->ref();
  }
  Reference(const Reference& o) noexcept : Reference(o.p_) {}
  Reference(Reference&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
  template <class U>
  requires std::is_convertible_v<U*, T*> Reference(const Reference<U>& o)
  noexcept : Reference(o.get()) {}
  ~Reference() noexcept(false) { reset(); }

  Reference& operator=(const Reference& o) {
    Reference(o).swap(*this);
    return *this;
  }
  Reference& operator=(Reference&& o) {
    Reference(std::move(o)).swap(*this);
    return *this;
  }
  Reference& operator=(T* p) {
    Reference(p).swap(*this);
    return *this;
  }

  // Releases the held reference, if any.
  // Gives up this reference without deleting the object, and returns it (see unrefNoDelete).
  T* release() noexcept {
    T* p = std::exchange(p_, nullptr);
    if (p) p->unrefNoDelete();
    return p;
  }
  void reset() {
    if (T* p = std::exchange(p_, nullptr)) p->unref();
  }
  void swap(Reference& o) noexcept { std::swap(p_, o.p_); }

  T* get() const noexcept { return p_; }
  T* operator->() const noexcept { return p_; }
  T& operator*() const noexcept { return *p_; }
  explicit operator bool() const noexcept { return p_ != nullptr; }

  template <class U>
  bool operator==(const Reference<U>& o) const noexcept {
    return p_ == o.get();
  }
  bool operator==(const T* p) const noexcept { return p_ == p; }
  bool operator==(std::nullptr_t) const noexcept { return p_ == nullptr; }
  auto operator<=>(const Reference& o) const noexcept { return std::compare_three_way()(p_, o.p_); }

 private:
  T* p_ = nullptr;
};

// Base of private implementation objects: only a virtual destructor.
class KR_PLATFORM_EXPORT ImplBase {
 public:
  virtual ~ImplBase();

 protected:
  ImplBase() = default;
  ImplBase(const ImplBase&) = default;
  ImplBase& operator=(const ImplBase&) = default;
};

}  // namespace kr
