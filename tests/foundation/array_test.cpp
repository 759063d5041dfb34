#include <geom/foundation/array.h>
#include <geom/foundation/moveable_array_allocator.h>
#include <kr/moveable.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <vector>

namespace {

using krGeom::Array;

// Keeps blocks in byte vectors and records every call as (owner, bytes), bytes -1 for free.
struct RecordingAllocator : krGeom::ArrayAllocator {
  struct Call {
    const void* owner;
    long bytes;
    bool operator==(const Call&) const = default;
  };
  const void* get(const void* owner) const override { return find(owner); }
  void* get(const void* owner) override { return const_cast<unsigned char*>(find(owner)); }
  void resize(const void* owner, std::size_t bytes) override {
    calls.push_back({owner, long(bytes)});
    blocks[owner].resize(bytes);
  }
  void free(const void* owner) override {
    calls.push_back({owner, -1});
    blocks.erase(owner);
  }
  const unsigned char* find(const void* owner) const {
    auto it = blocks.find(owner);
    return it == blocks.end() || it->second.empty() ? nullptr : it->second.data();
  }
  bool hasBlock(const void* owner) const { return blocks.count(owner) != 0; }

  std::map<const void*, std::vector<unsigned char>> blocks;
  std::vector<Call> calls;
};
using Call = RecordingAllocator::Call;

void fill(Array<int>& a, int first) {
  for (int i = 0; i < a.size(); ++i) a[i] = first + i;
}
std::vector<int> contents(const Array<int>& a) {
  return std::vector<int>(a.begin(), a.end());
}

TEST(ArrayHeap, ResizeKeepsThePrefixAndCopyKeepsTheGuards) {
  Array<int> a;
  a.resize(4);
  fill(a, 10);
  a.resize(7);
  EXPECT_EQ(std::vector<int>(a.data(), a.data() + 4), (std::vector<int>{10, 11, 12, 13}));
  a.resize(3);
  EXPECT_EQ(contents(a), (std::vector<int>{10, 11, 12}));
  a.data()[-1] = -7;  // leading guard
  a.data()[3] = 99;   // trailing guard
  Array<int> copy(a);
  EXPECT_EQ(std::vector<int>(copy.data() - 1, copy.data() + 4),
            (std::vector<int>{-7, 10, 11, 12, 99}));
  a.resize(-3);
  EXPECT_TRUE(a.empty());
  EXPECT_EQ(a.data(), nullptr);
}

TEST(ArrayAllocatorPath, CallsAreKeyedByTheArrayAndSkippedWhenNothingChanges) {
  kr::Reference<RecordingAllocator> rec(new RecordingAllocator());
  auto a = std::make_unique<Array<float>>(rec);
  const void* key = a.get();
  a->resize(0);  // empty to empty: no call
  a->resize(3);
  a->resize(3);  // same size: no call
  (*a)[2] = 5.f;
  a->resize(5);
  EXPECT_EQ((*a)[2], 5.f);
  EXPECT_EQ(a->data(), static_cast<float*>(rec->get(key)) + 1);
  a->resize(0);
  EXPECT_EQ(a->data(), nullptr);
  a.reset();
  EXPECT_EQ(rec->calls, (std::vector<Call>{{key, 20}, {key, 28}, {key, 0}, {key, -1}}));
  EXPECT_EQ(rec->refs(), 1);
}

TEST(ArrayAllocatorPath, CopyRegistersASecondBlockAssignmentKeepsTheTargetAllocator) {
  kr::Reference<RecordingAllocator> rec(new RecordingAllocator());
  Array<int> a(rec);
  a.resize(2);
  fill(a, 4);
  a.data()[-1] = 3;
  a.data()[2] = 6;
  Array<int> copy(a);
  EXPECT_EQ(copy.getAllocator(), rec);
  EXPECT_TRUE(rec->hasBlock(&copy));
  EXPECT_EQ(std::vector<int>(copy.data() - 1, copy.data() + 3), (std::vector<int>{3, 4, 5, 6}));

  Array<int> heap;
  heap.resize(3);
  fill(heap, 7);
  a = heap;
  EXPECT_EQ(a.getAllocator(), rec);
  EXPECT_EQ(contents(a), (std::vector<int>{7, 8, 9}));
  a = Array<int>();
  EXPECT_TRUE(a.empty());
  EXPECT_EQ(a.getAllocator(), rec);
  EXPECT_EQ(rec->calls.back(), (Call{&a, 0}));
}

TEST(ArrayAllocatorPath, ContentSwapAcrossAllocatorsKeepsEachAllocator) {
  kr::Reference<RecordingAllocator> rec(new RecordingAllocator());
  for (bool firstLonger : {true, false}) {
    SCOPED_TRACE(firstLonger ? "first longer" : "second longer");
    Array<int> a(rec), b;
    a.resize(firstLonger ? 4 : 2);
    b.resize(firstLonger ? 2 : 4);
    fill(a, 100);
    fill(b, 200);
    const std::vector<int> wasA = contents(a), wasB = contents(b);
    a.swapContents(b);
    EXPECT_EQ(contents(a), wasB);
    EXPECT_EQ(contents(b), wasA);
    EXPECT_EQ(a.getAllocator(), rec);
    EXPECT_EQ(b.getAllocator(), nullptr);
    EXPECT_EQ(rec->blocks.size(), 1u);  // the temporary's block is gone
  }
}

TEST(ArrayAllocatorChange, EmptyArrayChangesCleanlyNonEmptyArrayLosesAccess) {
  kr::Reference<RecordingAllocator> oldRec(new RecordingAllocator());
  kr::Reference<RecordingAllocator> newRec(new RecordingAllocator());
  Array<int> empty;
  empty.setArrayAllocator(newRec);
  empty.resize(2);
  EXPECT_TRUE(newRec->hasBlock(&empty));

  Array<int> a(oldRec);
  a.resize(3);
  fill(a, 5);
  a.setArrayAllocator(newRec);
  EXPECT_EQ(a.getAllocator(), newRec);
  EXPECT_EQ(a.size(), 3);
  EXPECT_EQ(a.data(), nullptr);  // the copy went under the temporary's key, now dropped
  EXPECT_FALSE(newRec->hasBlock(&a));
  EXPECT_TRUE(oldRec->hasBlock(&a));  // the old block is not freed
  a.resize(1);                        // resizing and refilling makes it usable again
  a[0] = 42;
  EXPECT_EQ(contents(a), (std::vector<int>{42}));

  // Back to the heap, the copy lands in the array's own buffer: the contents stay.
  Array<int> b(oldRec);
  b.resize(2);
  fill(b, 8);
  b.setArrayAllocator(nullptr);
  EXPECT_EQ(contents(b), (std::vector<int>{8, 9}));
}

// Large enough that (INT_MAX + 2) elements overflow a 64-bit byte count.
struct Huge {
  unsigned char bytes[std::size_t(1) << 33];
};

#if defined(__SANITIZE_ADDRESS__)
#define UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define UNDER_ASAN 1
#endif
#endif

TEST(ArrayHeap, OverflowingByteCountThrowsBadAlloc) {
#ifdef UNDER_ASAN
  GTEST_SKIP()
      << "AddressSanitizer's operator new aborts on an impossible size instead of throwing";
#endif
  Array<Huge> a;
  EXPECT_THROW(a.resize(INT_MAX), std::bad_alloc);
  EXPECT_TRUE(a.empty());
}

class MoveableArrayAllocatorTest : public ::testing::Test {
 protected:
  krOS::MoveableAllocator pool;
  kr::Reference<krGeom::MoveableArrayAllocator> store{new krGeom::MoveableArrayAllocator(pool)};
};

TEST_F(MoveableArrayAllocatorTest, ResizeKeepsPrefixFreeRemovesTheEntry) {
  int key1 = 0, key2 = 0;
  store->resize(&key1, 0);  // unknown key, zero bytes: no entry
  EXPECT_EQ(store->numBlocks(), 0u);
  store->resize(&key1, 8);
  store->resize(&key2, 4);
  std::memcpy(store->get(&key1), "abcdefgh", 8);
  store->resize(&key1, 12);
  EXPECT_EQ(std::memcmp(store->get(&key1), "abcdefgh", 8), 0);
  store->resize(&key1, 3);
  EXPECT_EQ(std::memcmp(store->get(&key1), "abc", 3), 0);
  store->resize(&key1, 0);
  EXPECT_EQ(store->get(&key1), nullptr);
  EXPECT_EQ(store->numBlocks(), 2u);
  store->free(&key1);
  store->free(&key1);
  EXPECT_EQ(store->numBlocks(), 1u);
  EXPECT_NE(store->get(&key2), nullptr);
  store.reset();
  EXPECT_EQ(pool.numChunks(), 0u);
}

TEST_F(MoveableArrayAllocatorTest, ArraysSurviveUnmapAndMap) {
  pool.setMoveOnMap(true);
  Array<int> a(store), b(store);
  a.resize(100);
  b.resize(3);
  fill(a, 0);
  fill(b, 7);
  const int* oldA = a.data();
  store->unmap();
  EXPECT_EQ(store->get(&a), nullptr);
  EXPECT_EQ(store->get(&b), nullptr);
  store->map();
  EXPECT_NE(a.data(), oldA);
  EXPECT_EQ(a[99], 99);
  EXPECT_EQ(contents(b), (std::vector<int>{7, 8, 9}));
}

}  // namespace
