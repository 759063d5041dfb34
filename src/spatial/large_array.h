// LargeArray: an uninitialised array for the tree builds' scratch and remap arrays.
#pragma once

#include <kr/fs_allocator.h>

#include <algorithm>
#include <cstddef>
#include <memory>

namespace krGeom {

// An uninitialised array of count T's. It comes from a pool of one item, which maps a large array
// straight from the operating system (ordinary pages, committed as they are first written) and
// gives it back whole when the array goes.
template <class T>
class LargeArray {
 public:
  LargeArray() = default;
  explicit LargeArray(std::size_t count)
      : pool_(std::make_unique<krOS::FSAllocator>(std::max<std::size_t>(count, 1) * sizeof(T), 1)),
        data_(static_cast<T*>(pool_->alloc())) {}
  T* get() const { return data_; }

 private:
  std::unique_ptr<krOS::FSAllocator> pool_;
  T* data_ = nullptr;
};

}  // namespace krGeom
