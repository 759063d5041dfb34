#include <kr/fs_allocator.h>

#include <cassert>
#include <cstdint>
#include <limits>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#define KR_POISON(p, n) ASAN_POISON_MEMORY_REGION(p, n)
#define KR_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION(p, n)
#else
#define KR_POISON(p, n) ((void)(p), (void)(n))
#define KR_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

namespace krOS {

namespace {

constexpr std::size_t kAlign = alignof(std::max_align_t);

// Room for the free-list link, rounded up so that every item of a block stays aligned.
std::size_t strideFor(std::size_t itemSize) {
  std::size_t size = itemSize < sizeof(void*) ? sizeof(void*) : itemSize;
  if (size > std::numeric_limits<std::size_t>::max() - (kAlign - 1)) throw std::bad_alloc();
  return (size + kAlign - 1) / kAlign * kAlign;
}

}  // namespace

static_assert(__STDCPP_DEFAULT_NEW_ALIGNMENT__ >= alignof(std::max_align_t),
              "blocks from new[] must be aligned for any item");

FSAllocator::FSAllocator(std::size_t itemSize, int itemsPerBlock)
    : itemSize_(itemSize),
      stride_(strideFor(itemSize)),
      itemsPerBlock_(itemsPerBlock < 1 ? 1 : itemsPerBlock) {
  if (stride_ > std::numeric_limits<std::size_t>::max() / static_cast<std::size_t>(itemsPerBlock_))
    throw std::bad_alloc();
  addBlock();
}

FSAllocator::~FSAllocator() {
  // Freed items are poisoned; the blocks go back to the heap whole.
  for (const auto& block : blocks_) KR_UNPOISON(block.get(), stride_ * itemsPerBlock_);
}

void FSAllocator::setLazy() {
  lazy_ = true;
  // Only a block that has never handed out an item can go: nothing can point into it.
  if (blocks_.size() == 1 && next_ == blocks_.front().get()) {
    blocks_.clear();
    next_ = end_ = nullptr;
  }
}

void FSAllocator::addBlock() {
  const std::size_t bytes = stride_ * static_cast<std::size_t>(itemsPerBlock_);
  // Not value-initialised: the pages of a fresh block stay untouched until items are used.
  blocks_.push_back(std::make_unique_for_overwrite<std::byte[]>(bytes));
  next_ = blocks_.back().get();
  end_ = next_ + bytes;
}

void* FSAllocator::alloc() {
  void* p;
  if (freeList_) {
    FreeItem* item = freeList_;
    KR_UNPOISON(item, stride_);
    freeList_ = item->next;
    p = item;
  } else {
    if (next_ == end_) addBlock();
    p = next_;
    next_ += stride_;
  }
  ++live_;
  return p;
}

void FSAllocator::free(void* p) noexcept {
  if (!p) return;
  assert(owns(p) && "item does not come from this pool");
  assert(live_ > 0 && "more items freed than allocated");
  freeList_ = new (p) FreeItem{freeList_};
  KR_POISON(p, stride_);
  --live_;
}

bool FSAllocator::owns(const void* p) const noexcept {
  const auto address = reinterpret_cast<std::uintptr_t>(p);
  const std::size_t bytes = stride_ * static_cast<std::size_t>(itemsPerBlock_);
  for (const auto& block : blocks_) {
    const auto begin = reinterpret_cast<std::uintptr_t>(block.get());
    // Items of the newest block from next_ on have never been handed out.
    const auto end =
        block == blocks_.back() ? reinterpret_cast<std::uintptr_t>(next_) : begin + bytes;
    if (address >= begin && address < end) return (address - begin) % stride_ == 0;
  }
  return false;
}

}  // namespace krOS
