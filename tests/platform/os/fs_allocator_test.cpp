#include <kr/fs_allocator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <limits>
#include <new>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

namespace {

bool aligned(const void* p) {
  return reinterpret_cast<std::uintptr_t>(p) % alignof(std::max_align_t) == 0;
}

TEST(FSAllocator, ItemsAreDistinctAlignedAndDisjointAcrossBlocks) {
  constexpr std::size_t kSize = 24;  // not a multiple of the alignment
  krOS::FSAllocator pool(kSize, 4);
  EXPECT_EQ(pool.itemSize(), kSize);
  EXPECT_EQ(pool.stride(), 32u);

  std::vector<unsigned char*> items;
  for (int i = 0; i < 10; ++i) {
    auto* p = static_cast<unsigned char*>(pool.alloc());
    ASSERT_TRUE(aligned(p)) << "item " << i;
    std::memset(p, i + 1, kSize);  // the whole item is usable
    items.push_back(p);
  }
  EXPECT_EQ(pool.numBlocks(), 3);  // 4 + 4 + 2 items
  EXPECT_EQ(pool.numItems(), 10u);

  // No item's bytes were overwritten by another's.
  for (int i = 0; i < 10; ++i) {
    for (std::size_t b = 0; b < kSize; ++b) ASSERT_EQ(items[i][b], i + 1) << "item " << i;
  }
  std::vector<unsigned char*> sorted = items;
  std::sort(sorted.begin(), sorted.end());
  for (std::size_t i = 1; i < sorted.size(); ++i)
    EXPECT_GE(static_cast<std::size_t>(sorted[i] - sorted[i - 1]), kSize);
}

TEST(FSAllocator, DegenerateParametersStillGiveUsableItems) {
  krOS::FSAllocator pool(0, 0);  // one tiny item per block
  EXPECT_EQ(pool.itemsPerBlock(), 1);
  EXPECT_EQ(pool.stride(), alignof(std::max_align_t));
  void* a = pool.alloc();
  void* b = pool.alloc();
  EXPECT_NE(a, b);
  EXPECT_TRUE(aligned(a));
  EXPECT_TRUE(aligned(b));
  EXPECT_EQ(pool.numBlocks(), 2);
}

TEST(FSAllocator, FreedItemsAreReusedLastFreedFirst) {
  krOS::FSAllocator pool(40, 8);
  void* a = pool.alloc();
  void* b = pool.alloc();
  void* c = pool.alloc();
  pool.free(b);
  pool.free(a);
  pool.free(nullptr);  // ignored
  EXPECT_EQ(pool.numItems(), 1u);

  EXPECT_EQ(pool.alloc(), a);
  EXPECT_EQ(pool.alloc(), b);
  void* d = pool.alloc();  // free list empty: the next fresh item
  EXPECT_NE(d, a);
  EXPECT_NE(d, b);
  EXPECT_NE(d, c);
  EXPECT_EQ(pool.numItems(), 4u);

  // A full block hands out freed items before a new block is made.
  for (int i = 4; i < 8; ++i) pool.alloc();
  pool.free(c);
  EXPECT_EQ(pool.alloc(), c);
  EXPECT_EQ(pool.numBlocks(), 1);
  pool.alloc();
  EXPECT_EQ(pool.numBlocks(), 2);
}

TEST(FSAllocator, LazyPoolMakesItsFirstBlockOnFirstAlloc) {
  krOS::FSAllocator eager(64, 16);
  EXPECT_FALSE(eager.isLazy());
  EXPECT_EQ(eager.numBlocks(), 1);

  krOS::FSAllocator lazy(64, 16);
  lazy.setLazy();
  EXPECT_TRUE(lazy.isLazy());
  EXPECT_EQ(lazy.numBlocks(), 0);
  EXPECT_EQ(lazy.numItems(), 0u);
  void* p = lazy.alloc();
  EXPECT_TRUE(aligned(p));
  EXPECT_EQ(lazy.numBlocks(), 1);

  // Once items were handed out, setLazy keeps the block they live in.
  krOS::FSAllocator used(64, 16);
  void* q = used.alloc();
  used.free(q);
  used.setLazy();
  EXPECT_EQ(used.numBlocks(), 1);
  EXPECT_EQ(used.alloc(), q);
}

// Items still handed out when the pool dies are released with their blocks; AddressSanitizer's
// leak check fails this test if any block is lost.
TEST(FSAllocator, DestructionReleasesEveryBlock) {
  for (int round = 0; round < 3; ++round) {
    krOS::FSAllocator pool(100, 7);
    for (int i = 0; i < 50; ++i) std::memset(pool.alloc(), round, 100);
    EXPECT_EQ(pool.numBlocks(), 8);
  }
}

TEST(FSAllocator, ImpossibleBlockSizeThrowsBadAlloc) {
  constexpr std::size_t kMax = std::numeric_limits<std::size_t>::max();
  EXPECT_THROW(krOS::FSAllocator(kMax, 1), std::bad_alloc);         // stride overflows
  EXPECT_THROW(krOS::FSAllocator(kMax / 4, 1000), std::bad_alloc);  // block size overflows
}

// Resident memory of the process in bytes.
std::size_t residentBytes() {
  std::ifstream statm("/proc/self/statm");
  std::size_t pages = 0, resident = 0;
  statm >> pages >> resident;
  return resident * 4096;
}

// Pools of a million large records (as the half-edge mesh makes them) cost only what is used.
TEST(FSAllocator, LargeBlocksAreCommittedOnlyAsItemsAreUsed) {
  const std::size_t before = residentBytes();
  krOS::FSAllocator pool(376, 0x100000);  // 384 MiB per block
  for (int i = 0; i < 100; ++i) std::memset(pool.alloc(), 0xab, 376);
  const std::size_t after = residentBytes();
  EXPECT_LT(after - std::min(after, before), std::size_t{32} << 20);
}

#if !defined(NDEBUG)
TEST(FSAllocatorDeathTest, FreeingForeignMemoryAssertsInDebugBuilds) {
  krOS::FSAllocator pool(32, 4);
  void* inside = pool.alloc();
  alignas(std::max_align_t) unsigned char outside[32];
  EXPECT_DEATH(pool.free(outside), "does not come from this pool");
  EXPECT_DEATH(pool.free(static_cast<char*>(inside) + 16), "does not come from this pool");
}
#endif

#if defined(__SANITIZE_ADDRESS__)
TEST(FSAllocator, FreedItemsArePoisonedUntilReused) {
  krOS::FSAllocator pool(48, 4);
  void* p = pool.alloc();
  EXPECT_FALSE(__asan_address_is_poisoned(p));
  pool.free(p);
  EXPECT_TRUE(__asan_address_is_poisoned(p));
  EXPECT_TRUE(__asan_address_is_poisoned(static_cast<char*>(p) + 47));
  EXPECT_EQ(pool.alloc(), p);
  EXPECT_FALSE(__asan_address_is_poisoned(static_cast<char*>(p) + 47));
}
#endif

}  // namespace
