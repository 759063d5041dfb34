// krGeom::Array<T>: a counted array of plain elements whose storage is either an owned heap
// buffer or a block kept by a shared ArrayAllocator.
//
//   kr::Reference<krGeom::ArrayAllocator> store(new krGeom::MoveableArrayAllocator(pool));
//   krGeom::Array<float> a(store);
//   a.resize(3);                  // a block of 5 floats in `store`, keyed by &a
//   a[0] = 1.0f;                  // every element access asks the allocator for the block
//
// Storage holds count + 2 elements: element i lives at position i + 1, and positions 0 and
// count + 1 are guard elements that neighbour walks may read (data()[-1], data()[size()]).
// Guards and new elements are not initialised by resize.
//
// An allocator keys blocks by the address of the Array object, so an array that uses an
// allocator must not be moved in memory (Array has no move operations; copies make new blocks).
// Element pointers are invalid after any resize and after the allocator is remapped.
// One thread at a time.
#pragma once

#include <geom/export.h>
#include <kr/reference.h>

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

namespace krGeom {

// Abstract storage for Array blocks, shared by reference among the arrays of one owner. Blocks
// are keyed by the address of the owning Array object; the allocator hands out addresses but
// never pointers the array may keep.
class KRGEOM_EXPORT ArrayAllocator : public kr::ReferenceCount {
 public:
  ArrayAllocator() = default;
  ~ArrayAllocator() override;

  // Read-only address of the block of `owner`, or null when it has none.
  virtual const void* get(const void* owner) const = 0;
  // Writable address of the block of `owner`, or null when it has none.
  virtual void* get(const void* owner) = 0;
  // Gives `owner` a block of exactly `bytes` bytes, keeping the common prefix of the old block.
  // Implementations should not throw when the block shrinks: meshes undo a partial resize of
  // their arrays after an allocation failure by shrinking the arrays already grown.
  virtual void resize(const void* owner, std::size_t bytes) = 0;
  // Releases the block of `owner` and forgets the key; unknown keys are ignored.
  virtual void free(const void* owner) = 0;
};

// A counted array of trivially copyable elements with two guard elements around them.
template <class T>
class Array {
  static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>,
                "Array holds plain elements that are copied as bytes");
  static_assert(alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__,
                "Array elements must fit the heap's default alignment");

 public:
  using value_type = T;
  using iterator = T*;
  using const_iterator = const T*;

  // --- Construction ---

  // An empty array that will use a heap buffer.
  Array() = default;
  // An empty array that keeps its block in `allocator` (null: heap buffer).
  explicit Array(kr::Reference<ArrayAllocator> allocator) : allocator_(std::move(allocator)) {}
  // Shares the source's allocator (registering a second block under this array's key) and
  // copies all count + 2 elements, guards included.
  Array(const Array& other);
  // Copies the elements (not the guards); this array keeps its own allocator. On
  // std::bad_alloc a heap array is unchanged; an array with an allocator is left empty.
  Array& operator=(const Array& other);
  // Frees the heap buffer, or the block through the allocator.
  ~Array();

  // --- Size ---

  // Number of elements.
  int size() const noexcept { return count_; }
  // Number of elements (same as size()).
  int count() const noexcept { return count_; }
  // True when there are no elements.
  bool empty() const noexcept { return count_ == 0; }
  // Sets the number of elements to max(n, 0), keeping the common prefix; new elements and the
  // guards are not initialised. Same size: nothing happens (the allocator is not called).
  // Growing may throw std::bad_alloc and then changes nothing. Shrinking a heap buffer keeps the
  // buffer and never throws, so a partial resize of several arrays can always be undone.
  void resize(int n);

  // --- Element access (through the allocator on every call) ---

  // Element 0, or null when empty or when the allocator has no block under this array's key.
  T* data() { return count_ == 0 ? nullptr : element0(writableBase()); }
  // Element 0, or null when empty or when the allocator has no block under this array's key.
  const T* data() const { return count_ == 0 ? nullptr : element0(readBase()); }
  // Element i; requires 0 <= i < size() (asserted in debug builds).
  T& operator[](int i) {
    assert(i >= 0 && i < count_);
    return data()[i];
  }
  // Element i; requires 0 <= i < size() (asserted in debug builds).
  const T& operator[](int i) const {
    assert(i >= 0 && i < count_);
    return data()[i];
  }
  T* begin() { return data(); }
  T* end() { return endOf(data()); }
  const T* begin() const { return data(); }
  const T* end() const { return endOf(data()); }

  // --- Exchange ---

  // Exchanges contents; each array keeps its own allocator (copies through a temporary when
  // either array has one).
  void swapContents(Array& other);
  // Exchanges count, heap buffer and allocator outright. Blocks held by an allocator stay
  // under their old keys, so this is only for swapping whole owners that use no allocator
  // or that re-register afterwards.
  void swap(Array& other) noexcept {
    std::swap(count_, other.count_);
    std::swap(data_, other.data_);
    allocator_.swap(other.allocator_);
  }

  // --- Allocator ---

  // The allocator, or null when the array uses a heap buffer.
  const kr::Reference<ArrayAllocator>& getAllocator() const noexcept { return allocator_; }
  // Moves the contents into `allocator` (null: a heap buffer). Deliberate quirk: the contents
  // are copied under a temporary key that is then dropped, so a non-empty array that ends up
  // with a non-null allocator has no block under its own key afterwards (data() is null) and
  // must be resized and refilled; the old allocator's block under this key is not freed.
  // An empty array changes allocator cleanly.
  void setArrayAllocator(kr::Reference<ArrayAllocator> allocator);

 private:
  // Byte count of n elements plus the guards; saturates so that an overflowing request fails.
  static std::size_t blockBytes(int n) noexcept {
    const std::size_t elements = static_cast<std::size_t>(n) + 2;
    if (elements > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
      return std::numeric_limits<std::size_t>::max();
    }
    return elements * sizeof(T);
  }
  static T* allocateBuffer(int n) { return static_cast<T*>(::operator new(blockBytes(n))); }
  static void freeBuffer(T* p) noexcept { ::operator delete(p); }
  static T* element0(T* base) noexcept { return base ? base + 1 : nullptr; }
  static const T* element0(const T* base) noexcept { return base ? base + 1 : nullptr; }
  template <class P>
  P* endOf(P* first) const noexcept {
    return first ? first + count_ : nullptr;
  }

  // Position 0 of the storage (the leading guard), or null.
  T* writableBase() {
    if (!allocator_) return data_;
    return static_cast<T*>(allocator_->get(static_cast<const void*>(this)));
  }
  const T* readBase() const {
    if (!allocator_) return data_;
    const ArrayAllocator& a = *allocator_;
    return static_cast<const T*>(a.get(static_cast<const void*>(this)));
  }

  // Empties the array: frees the heap buffer, or shrinks the block to 0 through the allocator.
  void clear();

  std::int32_t count_ = 0;
  T* data_ = nullptr;  // owned heap buffer; null with an allocator and when empty
  kr::Reference<ArrayAllocator> allocator_;
};

template <class T>
Array<T>::Array(const Array& other) : allocator_(other.allocator_) {
  if (other.count_ == 0) return;
  resize(other.count_);
  T* dst = writableBase();
  const T* src = other.readBase();
  if (dst && src) std::memcpy(static_cast<void*>(dst), src, blockBytes(count_));
}

template <class T>
Array<T>& Array<T>::operator=(const Array& other) {
  if (this == &other) return *this;
  if (other.count_ == 0) {
    clear();
    return *this;
  }
  if (allocator_) {
    clear();
    resize(other.count_);
  } else if (other.count_ > count_) {
    // A fresh buffer first, so that a failure leaves this array as it was.
    T* fresh = allocateBuffer(other.count_);
    freeBuffer(data_);
    data_ = fresh;
    count_ = other.count_;
  } else {
    resize(other.count_);  // shrinks in place
  }
  T* dst = data();
  const T* src = other.data();
  if (dst && src) std::memcpy(static_cast<void*>(dst), src, sizeof(T) * std::size_t(count_));
  return *this;
}

template <class T>
Array<T>::~Array() {
  freeBuffer(data_);
  if (allocator_) allocator_->free(this);
}

template <class T>
void Array<T>::clear() {
  if (count_ == 0) return;
  if (allocator_) {
    allocator_->resize(this, 0);
  } else {
    freeBuffer(data_);
    data_ = nullptr;
  }
  count_ = 0;
}

template <class T>
void Array<T>::resize(int n) {
  if (n == count_) return;
  if (n < 1) {
    clear();
    return;
  }
  if (allocator_) {
    allocator_->resize(this, blockBytes(n));
  } else if (n < count_) {
    // The buffer stays (it holds n + 2 elements and more): shrinking never fails.
  } else {
    T* fresh = allocateBuffer(n);
    const int keep = n < count_ ? n : count_;
    if (keep > 0) {
      std::memcpy(static_cast<void*>(fresh + 1), data_ + 1, sizeof(T) * std::size_t(keep));
    }
    freeBuffer(data_);
    data_ = fresh;
  }
  count_ = n;
}

template <class T>
void Array<T>::swapContents(Array& other) {
  if (this == &other) return;
  if (!allocator_ && !other.allocator_) {
    std::swap(count_, other.count_);
    std::swap(data_, other.data_);
    return;
  }
  if (count_ >= other.count_) {
    Array temp(other);
    other = *this;
    *this = temp;
  } else {
    Array temp(*this);
    *this = other;
    other = temp;
  }
}

template <class T>
void Array<T>::setArrayAllocator(kr::Reference<ArrayAllocator> allocator) {
  if (!allocator_ && !allocator) return;
  Array temp(allocator);
  temp = *this;
  std::swap(count_, temp.count_);
  std::swap(data_, temp.data_);
  temp.allocator_ = std::move(allocator_);
  allocator_ = std::move(allocator);
  // temp's destructor frees the old heap buffer and calls the old allocator's free(&temp).
}

}  // namespace krGeom
