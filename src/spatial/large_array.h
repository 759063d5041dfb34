// LargeArray: an uninitialised array for the tree builds' scratch and remap arrays.
#pragma once

#include <kr/fs_allocator.h>

#include <algorithm>
#include <cstddef>
#include <memory>

namespace krGeom {

// An uninitialised array of count T's. It comes from a pool of one item, which maps large blocks
// from the operating system on 2 MiB boundaries with huge pages where available: a build's
// scratch and remap then cost a few page faults instead of one per 4 KiB.
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
