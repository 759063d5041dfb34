#include <geom/foundation/array_of_sets.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <random>
#include <utility>
#include <vector>

namespace {

using krGeom::ArrayOfSets;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using Sets = std::vector<std::vector<int>>;

// The table as plain vectors, read through the public set accessors.
Sets contents(const ArrayOfSets& table) {
  Sets out(static_cast<std::size_t>(table.getNumSets()));
  for (int i = 0; i < table.getNumSets(); ++i) {
    const int* first = table.getSet(i);
    out[static_cast<std::size_t>(i)].assign(first, first + table.getSetSize(i));
  }
  return out;
}

std::vector<int> offsetsOf(const ArrayOfSets& table) {
  const auto& a = table.getOffsets();
  return std::vector<int>(a.begin(), a.end());
}

// Keeps every block in a map keyed by owner, so tests can count blocks.
class MapAllocator : public krGeom::ArrayAllocator {
 public:
  const void* get(const void* owner) const override {
    auto it = blocks.find(owner);
    return it == blocks.end() || it->second.empty() ? nullptr : it->second.data();
  }
  void* get(const void* owner) override {
    auto it = blocks.find(owner);
    return it == blocks.end() || it->second.empty() ? nullptr : it->second.data();
  }
  void resize(const void* owner, std::size_t bytes) override { blocks[owner].resize(bytes); }
  void free(const void* owner) override { blocks.erase(owner); }
  std::map<const void*, std::vector<unsigned char>> blocks;
};

const int kPairs[] = {2, 7, 0, 5, 2, 1, 0, 9};

TEST(ArrayOfSets, FromPairsIsAStableCountingSort) {
  ArrayOfSets table;
  table.assignFromPairs(3, 4, kPairs);
  EXPECT_EQ(table.getNumSets(), 3);
  EXPECT_THAT(offsetsOf(table), ElementsAre(0, 2, 2));
  EXPECT_THAT(table.getSets(), ElementsAre(5, 9, 7, 1));
  EXPECT_EQ(table.getSetSize(1), 0);
  EXPECT_EQ(table.getSetSize(2), 2);  // the last set ends at the end of the members
  EXPECT_EQ(table.computeMaxSetSize(), 2);

  // Rebuilding over existing contents, smaller and then larger, leaves nothing of the old table.
  table.assignFromPairs(2, 1, kPairs + 2);
  EXPECT_EQ(contents(table), (Sets{{5}, {}}));
  table.assignFromPairs(5, 4, kPairs);
  EXPECT_EQ(contents(table), (Sets{{5, 9}, {}, {7, 1}, {}, {}}));
  EXPECT_THAT(offsetsOf(table), ElementsAre(0, 2, 2, 4, 4));
}

TEST(ArrayOfSets, InverseListsSourcesInIncreasingOrder) {
  ArrayOfSets table;
  table.assignFromPairs(3, 4, kPairs);
  ArrayOfSets inverse;
  inverse.assignInverse(10, table);
  Sets expected(10);
  expected[1] = {2};
  expected[5] = {0};
  expected[7] = {2};
  expected[9] = {0};
  EXPECT_EQ(contents(inverse), expected);
  EXPECT_THAT(offsetsOf(inverse), ElementsAre(0, 0, 1, 1, 1, 1, 2, 2, 3, 3));

  // A member repeated in one set repeats the source index; trailing empty sets are kept.
  ArrayOfSets repeated;
  const int pairs[] = {1, 0, 0, 2, 1, 2, 1, 0};
  repeated.assignFromPairs(2, 4, pairs);  // {2}, {0, 2, 0}
  inverse.assignInverse(4, repeated);
  EXPECT_EQ(contents(inverse), (Sets{{1, 1}, {}, {0, 1}, {}}));

  // The inverse of a table into itself reads a copy of the source.
  repeated.assignInverse(3, repeated);
  EXPECT_EQ(contents(repeated), (Sets{{1, 1}, {}, {0, 1}}));
}

TEST(ArrayOfSets, RandomTablesMatchPlainVectors) {
  const unsigned seed = 7031;
  std::printf("ArrayOfSets random seed: %u\n", seed);
  std::mt19937 rng(seed);
  for (int round = 0; round < 20; ++round) {
    const int numSets = 1 + static_cast<int>(rng() % 50);
    const int numPairs = static_cast<int>(rng() % 400);
    const int range = 1 + static_cast<int>(rng() % 60);
    std::vector<int> pairs;
    Sets expected(static_cast<std::size_t>(numSets));
    for (int p = 0; p < numPairs; ++p) {
      const int set = static_cast<int>(rng() % static_cast<unsigned>(numSets));
      const int member = static_cast<int>(rng() % static_cast<unsigned>(range));
      pairs.insert(pairs.end(), {set, member});
      expected[static_cast<std::size_t>(set)].push_back(member);
    }
    ArrayOfSets table;
    table.assignFromPairs(numSets, numPairs, pairs.data());
    ASSERT_EQ(contents(table), expected) << "round " << round;

    Sets expectedInverse(static_cast<std::size_t>(range));
    std::size_t largest = 0;
    for (int i = 0; i < numSets; ++i) {
      largest = std::max(largest, expected[static_cast<std::size_t>(i)].size());
      for (int v : expected[static_cast<std::size_t>(i)]) {
        expectedInverse[static_cast<std::size_t>(v)].push_back(i);
      }
    }
    EXPECT_EQ(table.computeMaxSetSize(), static_cast<int>(largest)) << "round " << round;
    ArrayOfSets inverse;
    inverse.assignInverse(range, table);
    ASSERT_EQ(contents(inverse), expectedInverse) << "round " << round;
  }
}

TEST(ArrayOfSets, EmptyTables) {
  ArrayOfSets none;
  EXPECT_EQ(none.getNumSets(), 0);
  EXPECT_EQ(none.computeMaxSetSize(), 0);

  ArrayOfSets noPairs;
  noPairs.assignFromPairs(4, 0, nullptr);
  EXPECT_THAT(offsetsOf(noPairs), ElementsAre(0, 0, 0, 0));
  EXPECT_EQ(noPairs.getSet(3), nullptr);
  EXPECT_EQ(noPairs.getSetSize(3), 0);
  EXPECT_EQ(noPairs.computeMaxSetSize(), 0);

  ArrayOfSets inverse;
  inverse.assignInverse(2, none);
  EXPECT_EQ(contents(inverse), (Sets{{}, {}}));
  inverse.assignInverse(0, none);
  EXPECT_EQ(inverse.getNumSets(), 0);
}

TEST(ArrayOfSets, CallerFilledTable) {
  ArrayOfSets table(2, 3);
  table.getOffsets()[0] = 0;
  table.getOffsets()[1] = 1;
  table.getSets()[0] = 4;
  table.getSets()[1] = 5;
  table.getSets()[2] = 6;
  EXPECT_EQ(contents(table), (Sets{{4}, {5, 6}}));
  EXPECT_EQ(table.computeMaxSetSize(), 2);

  // Sets that do not tile the members from the start: the inverse reads only members that lie
  // in a set (the leading 99 lies in none and is out of range for the inverse).
  ArrayOfSets gap(2, 41);
  gap.getOffsets()[0] = 1;
  gap.getOffsets()[1] = 21;
  gap.getSets()[0] = 99;
  for (int k = 1; k < 41; ++k) gap.getSets()[k] = k > 10 && k <= 20 ? 1 : k > 30 ? 1 : 0;
  ArrayOfSets inverse;
  inverse.assignInverse(2, gap);
  EXPECT_THAT(offsetsOf(inverse), ElementsAre(0, 20));
  const std::vector<int> half = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  EXPECT_THAT(std::vector<int>(inverse.getSet(0), inverse.getSet(0) + 20), ElementsAreArray(half));
  EXPECT_THAT(std::vector<int>(inverse.getSet(1), inverse.getSet(1) + 20), ElementsAreArray(half));
}

TEST(ArrayOfSets, MovingCopiesAndSwapExchanges) {
  ArrayOfSets source;
  source.assignFromPairs(3, 4, kPairs);
  const Sets original = contents(source);

  ArrayOfSets moved(std::move(source));
  EXPECT_EQ(contents(moved), original);
  EXPECT_EQ(contents(source), original);  // NOLINT(bugprone-use-after-move): copies by design

  ArrayOfSets assigned;
  assigned = std::move(source);
  EXPECT_EQ(contents(assigned), original);
  EXPECT_EQ(contents(source), original);  // NOLINT(bugprone-use-after-move)

  assigned.getSets()[0] = 42;
  EXPECT_EQ(source.getSets()[0], 5) << "copies share no members";

  ArrayOfSets other;
  other.assignFromPairs(1, 1, kPairs + 2);  // {5}
  swap(other, assigned);
  EXPECT_EQ(contents(other), (Sets{{42, 9}, {}, {7, 1}}));
  EXPECT_EQ(contents(assigned), (Sets{{5}}));
}

TEST(ArrayOfSets, AllocatorBackedArrays) {
  kr::Reference<MapAllocator> store(new MapAllocator);
  ArrayOfSets table;
  table.getOffsets().setArrayAllocator(store);
  table.getSets().setArrayAllocator(store);
  table.assignFromPairs(3, 4, kPairs);
  EXPECT_EQ(store->blocks.size(), 2u);
  EXPECT_EQ(contents(table), (Sets{{5, 9}, {}, {7, 1}}));

  {
    ArrayOfSets copy(table);
    EXPECT_EQ(copy.getSets().getAllocator().get(), store.get());
    EXPECT_EQ(store->blocks.size(), 4u);
    EXPECT_EQ(contents(copy), contents(table));

    // Swapping with a heap table exchanges contents; each side keeps its own storage kind.
    ArrayOfSets heap;
    heap.assignFromPairs(1, 1, kPairs + 2);
    heap.swap(table);
    EXPECT_EQ(contents(heap), (Sets{{5, 9}, {}, {7, 1}}));
    EXPECT_EQ(contents(table), (Sets{{5}}));
    EXPECT_EQ(table.getSets().getAllocator().get(), store.get());
    EXPECT_FALSE(heap.getSets().getAllocator());

    ArrayOfSets inverse;
    inverse.assignInverse(10, copy);
    EXPECT_EQ(contents(inverse)[7], std::vector<int>{2});
  }
  EXPECT_EQ(store->blocks.size(), 2u);
}

}  // namespace
