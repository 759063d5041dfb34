#include <kr/fs_allocator.h>
#include <kr/moveable.h>
#include <kr/system_memory_hook.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <new>
#include <vector>

namespace {

TEST(FSAllocator, ItemsAreAlignedAndDisjointAcrossBlocks) {
  krOS::FSAllocator pool(24, 4);  // not a multiple of the alignment
  EXPECT_EQ(pool.stride(), 32u);
  std::vector<unsigned char*> items;
  for (int i = 0; i < 10; ++i) {
    items.push_back(static_cast<unsigned char*>(pool.alloc()));
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(items.back()) % alignof(std::max_align_t), 0u);
    std::memset(items.back(), i, 24);
  }
  EXPECT_EQ(pool.numBlocks(), 3);  // 4 + 4 + 2 items
  for (int i = 0; i < 10; ++i) EXPECT_EQ(std::count(items[i], items[i] + 24, i), 24) << i;

  krOS::FSAllocator tiny(0, 0);  // one one-byte item per block
  EXPECT_EQ(tiny.stride(), alignof(std::max_align_t));
  EXPECT_NE(tiny.alloc(), tiny.alloc());
  EXPECT_THROW(krOS::FSAllocator(~std::size_t{0}, 1), std::bad_alloc);         // stride overflows
  EXPECT_THROW(krOS::FSAllocator(~std::size_t{0} / 4, 1000), std::bad_alloc);  // block overflows
}

TEST(FSAllocator, FreedItemsAreReusedLastFreedFirstBeforeANewBlock) {
  krOS::FSAllocator pool(40, 4);
  pool.setLazy();  // releases the unused first block
  EXPECT_EQ(pool.numBlocks(), 0);
  void* a = pool.alloc();
  void* b = pool.alloc();
  pool.free(b);
  pool.free(a);
  pool.free(nullptr);  // ignored
  pool.setLazy();      // items were handed out: the block stays
  EXPECT_EQ(pool.alloc(), a);
  EXPECT_EQ(pool.alloc(), b);
  pool.alloc();
  pool.alloc();  // the block is full
  pool.free(a);
  EXPECT_EQ(pool.alloc(), a);
  EXPECT_EQ(pool.numBlocks(), 1);
}

// A pool of a million large records (as the half-edge mesh makes) costs only what is used.
TEST(FSAllocator, LargeBlocksAreCommittedOnlyAsItemsAreUsed) {
  auto residentBytes = [] {
    std::ifstream statm("/proc/self/statm");
    std::size_t pages = 0, resident = 0;
    statm >> pages >> resident;
    return resident * 4096;
  };
  const std::size_t before = residentBytes();
  krOS::FSAllocator pool(376, 0x100000);  // 384 MiB per block
  for (int i = 0; i < 100; ++i) std::memset(pool.alloc(), 0xab, 376);
  EXPECT_LT(residentBytes(), before + (std::size_t{32} << 20));
}

TEST(FSAllocator, ReserveAddsABlockUpFrontAndLosesNoItem) {
  krOS::FSAllocator pool(32, 4);
  for (int i = 0; i < 3; ++i) pool.alloc();  // one item left in the block
  pool.reserve(1);
  EXPECT_EQ(pool.numBlocks(), 1);
  pool.reserve(3);  // the item left goes onto the free list, then a new block
  EXPECT_EQ(pool.numBlocks(), 2);
  std::vector<void*> items;
  for (int i = 0; i < 5; ++i) items.push_back(pool.alloc());  // 1 + 4: both blocks used up
  EXPECT_EQ(pool.numBlocks(), 2);
  std::sort(items.begin(), items.end());
  EXPECT_EQ(std::unique(items.begin(), items.end()), items.end());
  pool.alloc();
  EXPECT_EQ(pool.numBlocks(), 3);
}

// Refuses every request for system memory while it lives.
struct RefuseSystemMemory {
  RefuseSystemMemory() {
    krOS::setSystemMemoryHook([](std::size_t) noexcept { return false; });
  }
  ~RefuseSystemMemory() { krOS::setSystemMemoryHook(nullptr); }
};

TEST(SystemMemoryHook, RefusedRequestsThrowAndLeaveTheAllocatorsAsTheyWere) {
  krOS::FSAllocator pool(std::size_t{1} << 20, 8);  // 8 MiB blocks, mapped from the system
  pool.setLazy();
  krOS::MoveableAllocator chunks;
  std::unique_ptr<krOS::MoveableChunk> chunk(chunks.allocate(4096));
  {
    RefuseSystemMemory refuse;
    EXPECT_THROW(pool.alloc(), std::bad_alloc);
    EXPECT_THROW(krOS::FSAllocator(std::size_t{1} << 20, 8), std::bad_alloc);
    EXPECT_THROW(chunks.allocate(4096), std::bad_alloc);
    EXPECT_THROW(chunk->map(), std::bad_alloc);
  }
  EXPECT_EQ(pool.numBlocks(), 0);
  EXPECT_EQ(chunks.numChunks(), 1u);
  EXPECT_FALSE(chunk->isMapped());
  EXPECT_NE(pool.alloc(), nullptr);  // granted again
  EXPECT_NE(chunk->map(), nullptr);
}

// allocZeroed writes only what may not be zero: reused items and items of heap blocks. Fresh
// items of a mapped block stay zero across the steps in which the pool commits their pages.
TEST(FSAllocator, ZeroedItemsAreZeroWhetherFreshReusedOrFromTheHeap) {
  auto isZero = [](const void* p, std::size_t n) {
    const auto* b = static_cast<const unsigned char*>(p);
    return std::all_of(b, b + n, [](unsigned char c) { return c == 0; });
  };
  for (int perBlock : {4, 0x100000}) {  // a heap block, a mapped one
    krOS::FSAllocator pool(376, perBlock);
    void* a = pool.alloc();
    std::memset(a, 0xab, 376);
    pool.free(a);
    void* b = pool.allocZeroed();
    EXPECT_EQ(b, a);
    EXPECT_TRUE(isZero(b, 376)) << perBlock;
  }
  krOS::FSAllocator big(376, 0x4000);  // 6 MiB mapped: three commit steps
  for (int i = 0; i < 0x4000; ++i) {
    void* p = big.allocZeroed();
    ASSERT_TRUE(isZero(p, 376)) << i;
    std::memset(p, 0xcd, 376);
  }
  void* next = big.allocZeroed();  // a new block
  EXPECT_EQ(big.numBlocks(), 2);
  EXPECT_TRUE(isZero(next, 376));
}

}  // namespace
