#include <kr/fs_allocator.h>

#include "system_memory.h"

#include <cassert>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

#if defined(__unix__)
#include <sys/mman.h>
#include <unistd.h>
#define KR_MAP_LARGE_BLOCKS 1
#else
#define KR_MAP_LARGE_BLOCKS 0
#endif

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

// Blocks from this size on are mapped from the system rather than taken from the heap.
constexpr std::size_t kMapThreshold = std::size_t{4} << 20;
// Past the first this many bytes of a mapped block, pages are committed this many at a time.
constexpr std::size_t kPopulateStep = std::size_t{2} << 20;

// Room for the free-list link, rounded up so that every item of a block stays aligned.
std::size_t strideFor(std::size_t itemSize) {
  std::size_t size = itemSize < sizeof(void*) ? sizeof(void*) : itemSize;
  if (size > std::numeric_limits<std::size_t>::max() - (kAlign - 1)) throw std::bad_alloc();
  return (size + kAlign - 1) / kAlign * kAlign;
}

#if KR_MAP_LARGE_BLOCKS
std::size_t mappedLength(std::size_t bytes) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return (bytes + page - 1) / page * page;
}

// Maps `bytes` of fresh, zero-filled pages.
std::byte* mapBlock(std::size_t bytes) {
  askSystemMemory(bytes);
  void* p = mmap(nullptr, mappedLength(bytes), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                 -1, 0);
  if (p == MAP_FAILED) throw std::bad_alloc();
  return static_cast<std::byte*>(p);
}

// Commits the pages of [begin, end) in one call rather than one page fault each. Advice only:
// a kernel without it leaves the pages to fault in one by one.
void populate(std::byte* begin, std::byte* end) {
#if defined(MADV_POPULATE_WRITE)
  madvise(begin, static_cast<std::size_t>(end - begin), MADV_POPULATE_WRITE);
#else
  (void)begin;
  (void)end;
#endif
}
#endif

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
  // Freed items are poisoned; the blocks go back whole.
  for (const Block& block : blocks_) releaseBlock(block, blockBytes(), usedBytes(block));
}

std::size_t FSAllocator::usedBytes(const Block& block) const noexcept {
  // Only the newest block has items that were never handed out (nor poisoned).
  return block.data == blocks_.back().data ? static_cast<std::size_t>(next_ - block.data)
                                           : blockBytes();
}

std::size_t FSAllocator::blockBytes() const noexcept {
  return stride_ * static_cast<std::size_t>(itemsPerBlock_);
}

void FSAllocator::releaseBlock(const Block& block, std::size_t bytes, std::size_t used) noexcept {
  KR_UNPOISON(block.data, used);  // a large block's untouched tail needs no shadow writes
#if KR_MAP_LARGE_BLOCKS
  if (block.mapped) {
    munmap(block.data, mappedLength(bytes));
    return;
  }
#endif
  delete[] block.data;
}

void FSAllocator::setLazy() {
  lazy_ = true;
  // Only a block that has never handed out an item can go: nothing can point into it.
  if (blocks_.size() == 1 && next_ == blocks_.front().data) {
    releaseBlock(blocks_.front(), blockBytes(), 0);
    blocks_.clear();
    next_ = end_ = nullptr;
  }
}

void FSAllocator::addBlock() {
  const std::size_t bytes = blockBytes();
  // Room to record the block first, so that recording it cannot throw after it is allocated.
  if (blocks_.size() == blocks_.capacity())
    blocks_.reserve(blocks_.empty() ? 4 : 2 * blocks_.size());
  Block block{nullptr, false};
#if KR_MAP_LARGE_BLOCKS
  if (bytes >= kMapThreshold) block = {mapBlock(bytes), true};
#endif
  // Not value-initialised: the pages of a fresh block stay untouched until items are used.
  if (!block.data) block.data = new std::byte[bytes];
  blocks_.push_back(block);
  newestMapped_ = block.mapped;
  next_ = block.data;
  end_ = next_ + bytes;
  // A few items of a mapped block fault in their own pages; past its first step, a growing
  // pool commits its pages a step ahead.
  populated_ = block.mapped && bytes > kPopulateStep ? next_ + kPopulateStep : end_;
}

void FSAllocator::reserve(std::size_t n) {
  while (numFree_ + static_cast<std::size_t>(end_ - next_) / stride_ < n) {
    // The rest of the newest block goes onto the free list, so that a new block loses nothing.
    for (; next_ != end_; next_ += stride_) {
      freeList_ = new (next_) FreeItem{freeList_};
      KR_POISON(next_, stride_);
      ++numFree_;
    }
    addBlock();
  }
}

void* FSAllocator::alloc() {
  void* p;
  if (freeList_) {
    FreeItem* item = freeList_;
    KR_UNPOISON(item, stride_);
    freeList_ = item->next;
    --numFree_;
    p = item;
  } else {
    if (next_ == end_) addBlock();
    p = next_;
    next_ += stride_;
    if (next_ > populated_) [[unlikely]]
      populateAhead();
  }
  ++live_;
  return p;
}

void FSAllocator::populateAhead() {
#if KR_MAP_LARGE_BLOCKS
  // populated_ stays page-aligned: the block starts on a page and the step is whole pages (the
  // system rounds the length up to the page the block's end lies in).
  std::byte* const stop =
      end_ - populated_ > std::ptrdiff_t(kPopulateStep) ? populated_ + kPopulateStep : end_;
  populate(populated_, stop);
  populated_ = stop;
#else
  populated_ = end_;
#endif
}

void* FSAllocator::allocZeroed() {
  if (!freeList_ && next_ == end_) addBlock();
  // Only never-used items of a mapped block are known to be zero: the system clears fresh pages.
  const bool zero = !freeList_ && newestMapped_;
  void* p = alloc();
  if (!zero) std::memset(p, 0, itemSize_);
  return p;
}

void FSAllocator::free(void* p) noexcept {
  if (!p) return;
  assert(owns(p) && "item does not come from this pool");
  assert(live_ > 0 && "more items freed than allocated");
  freeList_ = new (p) FreeItem{freeList_};
  KR_POISON(p, stride_);
  ++numFree_;
  --live_;
}

bool FSAllocator::owns(const void* p) const noexcept {
  const auto address = reinterpret_cast<std::uintptr_t>(p);
  const std::size_t bytes = blockBytes();
  for (const Block& block : blocks_) {
    const auto begin = reinterpret_cast<std::uintptr_t>(block.data);
    // Items of the newest block from next_ on have never been handed out.
    const auto end =
        block.data == blocks_.back().data ? reinterpret_cast<std::uintptr_t>(next_) : begin + bytes;
    if (address >= begin && address < end) return (address - begin) % stride_ == 0;
  }
  return false;
}

}  // namespace krOS
