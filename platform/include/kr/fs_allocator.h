// krOS::FSAllocator: a pool of fixed-size items carved from large blocks.
//
//   krOS::FSAllocator pool(sizeof(Node), 8192);   // blocks of 8192 items
//   pool.setLazy();                               // no memory until the first alloc()
//   Node* n = new (pool.alloc()) Node();
//   n->~Node();
//   pool.free(n);                                 // back onto the free list
//
// Items are handed out from the free list first (last freed, first reused), then in address
// order from the newest block; a new block of itemsPerBlock items is added when both run out.
// Blocks are only returned when the pool is destroyed, which releases every item at once
// without running any destructor. Items of a block that have never been handed out are not
// touched, so the operating system commits a large block's pages only as items are used.
// Large blocks (4 MiB and more) are mapped straight from the operating system, zero-filled.
// Past their first 2 MiB, a growing pool commits their pages 2 MiB ahead in one system call
// (Linux) instead of taking a page fault per 4 KiB, while a pool holding a few items still
// commits only the pages it touches. Transparent huge pages are not asked for: on the virtual
// machine this was measured on, the first build in a process took twice as long with them
// (fresh huge pages are cleared while the host backs them), though later builds were faster.
// In AddressSanitizer builds freed items are poisoned until they are handed out again.
// Not copyable; one thread at a time.
#pragma once

#include <kr/export.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace krOS {

class KR_PLATFORM_EXPORT FSAllocator {
 public:
  // Construction
  // A pool of items of itemSize bytes (0 counts as 1) in blocks of itemsPerBlock items (values
  // below 1 count as 1). Allocates the first block now unless setLazy() follows at once.
  // Throws std::bad_alloc when the block cannot be allocated or its size overflows.
  FSAllocator(std::size_t itemSize, int itemsPerBlock);
  FSAllocator(const FSAllocator&) = delete;
  FSAllocator& operator=(const FSAllocator&) = delete;
  // Releases every block; items still handed out become invalid.
  ~FSAllocator();

  // Switches to lazy mode: the first block is made by the first alloc(). A block made by the
  // constructor is released again if no item has been handed out yet; otherwise nothing changes.
  void setLazy();

  // Items
  // Uninitialised memory for one item, aligned for std::max_align_t. Throws std::bad_alloc.
  void* alloc();
  // Makes sure that the next n calls of alloc() (without free() in between) take no memory, so
  // that they cannot throw: adds blocks when the free list and the newest block hold fewer than
  // n items. Throws std::bad_alloc; the items already available then stay available.
  void reserve(std::size_t n);
  // One item filled with zero bytes. Items of a block mapped from the operating system that were
  // never handed out are zero already and are not written, so their pages stay untouched.
  void* allocZeroed();
  // Returns an item to the free list; null does nothing. p must be a live item of this pool
  // (debug builds assert that it lies in the pool; AddressSanitizer builds catch a double free).
  void free(void* p) noexcept;

  // Queries
  // The item size asked for at construction.
  std::size_t itemSize() const noexcept { return itemSize_; }
  // Bytes between consecutive items: itemSize rounded up to the alignment of std::max_align_t.
  std::size_t stride() const noexcept { return stride_; }
  int itemsPerBlock() const noexcept { return itemsPerBlock_; }
  bool isLazy() const noexcept { return lazy_; }
  // Number of blocks currently held.
  int numBlocks() const noexcept { return static_cast<int>(blocks_.size()); }
  // Number of items handed out and not freed.
  std::size_t numItems() const noexcept { return live_; }

 private:
  struct FreeItem {
    FreeItem* next;
  };
  // A block of itemsPerBlock items: from the heap, or mapped from the operating system.
  struct Block {
    std::byte* data;
    bool mapped;
  };

  std::size_t blockBytes() const noexcept;
  void addBlock();
  // Returns a block of `bytes`, of which the first `used` may hold poisoned items.
  static void releaseBlock(const Block& b, std::size_t bytes, std::size_t used) noexcept;
  std::size_t usedBytes(const Block& block) const noexcept;
  // Commits the next step of pages of the newest (mapped) block.
  void populateAhead();
  bool owns(const void* p) const noexcept;

  std::vector<Block> blocks_;
  std::size_t itemSize_;
  std::size_t stride_;
  int itemsPerBlock_;
  FreeItem* freeList_ = nullptr;
  std::byte* next_ = nullptr;       // first never-used item of the newest block
  std::byte* end_ = nullptr;        // end of the newest block
  std::byte* populated_ = nullptr;  // pages of the newest block before this are committed
  bool newestMapped_ = false;       // the newest block came from the operating system, zero-filled
  std::size_t live_ = 0;
  std::size_t numFree_ = 0;  // items on the free list
  bool lazy_ = false;
};

}  // namespace krOS
