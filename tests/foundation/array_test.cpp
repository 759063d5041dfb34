#include <geom/foundation/array.h>
#include <geom/foundation/moveable_array_allocator.h>

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <map>
#include <new>
#include <utility>
#include <vector>

namespace {

using krGeom::Array;
using Ints = std::vector<int>;
using Call = std::pair<const void*, long>;

// Keeps blocks in byte vectors and logs every call as (owner, bytes), bytes -1 for free.
struct Recorder : krGeom::ArrayAllocator {
  void* get(const void* o) override { return blocks.count(o) ? blocks[o].data() : nullptr; }
  const void* get(const void* o) const override { return const_cast<Recorder*>(this)->get(o); }
  void resize(const void* owner, std::size_t bytes) override {
    calls.emplace_back(owner, long(bytes));
    blocks[owner].resize(bytes);
  }
  void free(const void* owner) override {
    calls.emplace_back(owner, -1);
    blocks.erase(owner);
  }
  std::map<const void*, std::vector<unsigned char>> blocks;
  std::vector<Call> calls;
};

// Resizes `a` to n elements holding first, first + 1, ...
void fill(Array<int>& a, int n, int first) {
  a.resize(n);
  for (int i = 0; i < n; ++i) a[i] = first + i;
}
const auto contents = [](const Array<int>& a) { return Ints(a.begin(), a.end()); };
const auto withGuards = [](const Array<int>& a) { return Ints(a.data() - 1, a.end() + 1); };

TEST(Array, HeapResizeKeepsThePrefixAndCopyKeepsTheGuards) {
  Array<int> a;
  fill(a, 4, 10);
  a.resize(7);
  a.resize(3);
  a.data()[-1] = -7;
  a.data()[3] = 99;
  EXPECT_EQ(withGuards(Array<int>(a)), (Ints{-7, 10, 11, 12, 99}));
}

TEST(Array, OverflowingByteCountThrowsBadAlloc) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "AddressSanitizer's operator new aborts on an impossible size";
#endif
  using Huge = std::array<unsigned char, std::size_t(1) << 33>;  // INT_MAX + 2 overflow 64 bits
  Array<Huge> a;
  EXPECT_THROW(a.resize(INT_MAX), std::bad_alloc);
}

TEST(Array, AllocatorCallsCopiesAndAssignment) {
  kr::Reference<Recorder> rec(new Recorder());
  {
    Array<float> f(rec);
    f.resize(0);  // empty to empty: no call
    f.resize(3);
    f.resize(3);  // same size: no call
    f.resize(5);
    f.resize(0);
    EXPECT_EQ(rec->calls, (std::vector<Call>{{&f, 20}, {&f, 28}, {&f, 0}}));
  }
  EXPECT_EQ(rec->calls.back().second, -1);

  Array<int> a(rec);
  fill(a, 2, 4);
  Array<int> copy(a);  // shares the allocator under its own key
  EXPECT_EQ(rec->blocks.count(&copy), 1u);
  EXPECT_EQ(contents(copy), (Ints{4, 5}));

  Array<int> heap;
  fill(heap, 3, 7);
  a = heap;  // the target keeps its allocator, also when assigned an empty array
  EXPECT_EQ(contents(a), (Ints{7, 8, 9}));
  a = Array<int>();
  EXPECT_EQ(a.getAllocator(), rec);
  EXPECT_EQ(rec->calls.back(), (Call{&a, 0}));
}

TEST(Array, ContentSwapAcrossAllocatorsKeepsEachAllocator) {
  kr::Reference<Recorder> rec(new Recorder());
  for (bool firstLonger : {true, false}) {
    Array<int> a(rec), b;
    fill(a, firstLonger ? 4 : 2, 100);
    fill(b, firstLonger ? 2 : 4, 200);
    const Ints wasA = contents(a), wasB = contents(b);
    a.swapContents(b);
    EXPECT_EQ(contents(a), wasB);
    EXPECT_EQ(contents(b), wasA);
    EXPECT_EQ(a.getAllocator(), rec);
    EXPECT_EQ(rec->blocks.size(), 1u) << firstLonger;  // the temporary's block is gone
  }
}

TEST(Array, AllocatorChangeIsCleanOnlyWhenEmptyOrBackToTheHeap) {
  kr::Reference<Recorder> oldRec(new Recorder()), newRec(new Recorder());
  Array<int> empty;
  empty.setArrayAllocator(newRec);
  empty.resize(2);
  EXPECT_EQ(newRec->blocks.count(&empty), 1u);

  Array<int> a(oldRec);
  fill(a, 3, 5);
  a.setArrayAllocator(newRec);
  EXPECT_EQ(a.size(), 3);
  EXPECT_EQ(a.data(), nullptr);  // the copy went under the temporary's key, now dropped
  EXPECT_EQ(newRec->blocks.count(&a), 0u);
  EXPECT_EQ(oldRec->blocks.count(&a), 1u);  // the old block is not freed

  fill(a, 2, 8);  // refilled, then back to the heap: the copy lands in a's own buffer
  a.setArrayAllocator(nullptr);
  EXPECT_EQ(contents(a), (Ints{8, 9}));
}

TEST(MoveableArrayAllocator, BlocksKeepTheirPrefixAndLeaveOnlyThroughFree) {
  krOS::MoveableAllocator pool;
  krGeom::MoveableArrayAllocator store(pool);
  const int key = 0;
  store.map();
  store.resize(&key, 8);
  static_cast<int*>(store.get(&key))[1] = 7;
  store.resize(&key, 4096);  // growing keeps the old bytes as prefix
  EXPECT_EQ(static_cast<const int*>(store.get(&key))[1], 7);
  store.resize(&key, 8);  // shrinking keeps the first bytes
  store.unmap();
  EXPECT_EQ(store.get(&key), nullptr);
  store.map();
  EXPECT_EQ(static_cast<const int*>(store.get(&key))[1], 7);
  store.resize(&key, 0);  // no block, but the entry stays until free
  EXPECT_EQ(store.get(&key), nullptr);
  EXPECT_EQ(store.numBlocks(), 1u);
  store.free(&key);
  store.free(&key);
  EXPECT_EQ(store.numBlocks(), 0u);
  EXPECT_EQ(pool.numChunks(), 0u);
}

// Many keys, some freed out of the middle: every remaining key still finds its own block.
TEST(MoveableArrayAllocator, ManyBlocksEachFoundAfterFreesInTheMiddle) {
  krOS::MoveableAllocator pool;
  krGeom::MoveableArrayAllocator store(pool);
  std::vector<int> keys(300);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    store.resize(&keys[i], sizeof(int));
    *static_cast<int*>(store.get(&keys[i])) = int(i);
  }
  for (std::size_t i = 0; i < keys.size(); i += 3) store.free(&keys[i]);
  EXPECT_EQ(store.numBlocks(), 200u);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const void* block = static_cast<const krGeom::MoveableArrayAllocator&>(store).get(&keys[i]);
    if (i % 3 == 0) {
      EXPECT_EQ(block, nullptr) << i;
    } else {
      ASSERT_NE(block, nullptr) << i;
      EXPECT_EQ(*static_cast<const int*>(block), int(i)) << i;
    }
  }
  store.resize(&keys[0], sizeof(int));  // a freed key comes back as a new entry
  EXPECT_EQ(store.numBlocks(), 201u);
  EXPECT_NE(store.get(&keys[0]), nullptr);

  // Keys read in turn, with frees between the rounds shifting the entries they were found at.
  const std::size_t turn[] = {298, 1, 151, 2, 296};
  for (std::size_t freed : {4u, 100u, 295u}) {
    for (int round = 0; round < 3; ++round)
      for (std::size_t i : turn) EXPECT_EQ(*static_cast<int*>(store.get(&keys[i])), int(i)) << i;
    store.free(&keys[freed]);
    EXPECT_EQ(store.get(&keys[freed]), nullptr);
  }
}

}  // namespace
