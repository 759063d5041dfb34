#include <geom/foundation/array_of_sets.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

namespace {

using krGeom::ArrayOfSets;
using Ints = std::vector<int>;
using Sets = std::vector<Ints>;

// The table as plain vectors, read through the public set accessors.
Sets contents(const ArrayOfSets& table) {
  Sets out;
  for (int i = 0; i < table.getNumSets(); ++i) {
    out.emplace_back(table.getSet(i), table.getSet(i) + table.getSetSize(i));
  }
  return out;
}

const int kPairs[] = {2, 7, 0, 5, 2, 1, 0, 9};  // (set, member) pairs

TEST(ArrayOfSets, FromPairsIsAStableCountingSort) {
  ArrayOfSets table;
  table.assignFromPairs(3, 4, kPairs);
  EXPECT_EQ(contents(table), (Sets{{5, 9}, {}, {7, 1}}));  // the last set ends with the members
  EXPECT_EQ(ArrayOfSets().computeMaxSetSize(), 0);
}

TEST(ArrayOfSets, InverseRepeatsSourcesAndMayReadItsOwnTable) {
  ArrayOfSets repeated, inverse;
  const int pairs[] = {1, 0, 0, 2, 1, 2, 1, 0};
  repeated.assignFromPairs(2, 4, pairs);  // {2}, {0, 2, 0}
  inverse.assignInverse(4, repeated);
  EXPECT_EQ(contents(inverse), (Sets{{1, 1}, {}, {0, 1}, {}}));
  repeated.assignInverse(3, repeated);  // reads a copy of the source
  EXPECT_EQ(contents(repeated), (Sets{{1, 1}, {}, {0, 1}}));

  // A member outside every set (before the first offset) takes no part; the inverse still gets
  // one slot per member of the source, so its last slot stays unfilled.
  ArrayOfSets gap(1, 3);
  gap.getOffsets()[0] = 1;
  gap.getSets()[0] = 99;
  gap.getSets()[1] = gap.getSets()[2] = 0;
  inverse.assignInverse(1, gap);
  EXPECT_EQ(inverse.getSetSize(0), 3);
  EXPECT_EQ(Ints(inverse.getSet(0), inverse.getSet(0) + 2), (Ints{0, 0}));
}

TEST(ArrayOfSets, RandomTablesMatchPlainVectors) {
  const unsigned rngSeed = 7031;
  std::printf("ArrayOfSets random rngSeed: %u\n", rngSeed);
  std::mt19937 rng(rngSeed);
  ArrayOfSets table, inverse;  // rebuilt in every round over the previous contents
  // Rounds 20 and 21 are large enough (and scattered enough) to be sorted in cache-sized bands.
  for (int round = 0; round < 22; ++round) {
    const bool large = round >= 20;
    const int numSets = large ? 30001 : 1 + int(rng() % 50),
              numPairs = large ? 300000 : int(rng() % 400),
              range = large ? 20011 - round : 1 + int(rng() % 60);
    Ints pairs;
    std::size_t largest = 0;
    Sets expected(numSets), expectedInverse(range);
    for (int p = 0; p < numPairs; ++p) {
      const int set = int(rng() % unsigned(numSets)), member = int(rng() % unsigned(range));
      pairs.insert(pairs.end(), {set, member});
      expected[set].push_back(member);
      largest = std::max(largest, expected[set].size());
    }
    for (int i = 0; i < numSets; ++i)
      for (int v : expected[i]) expectedInverse[v].push_back(i);
    table.assignFromPairs(numSets, numPairs, pairs.data());
    inverse.assignInverse(range, table);
    ASSERT_EQ(contents(table), expected) << "round " << round;
    ASSERT_EQ(contents(inverse), expectedInverse) << "round " << round;
    EXPECT_EQ(table.computeMaxSetSize(), int(largest)) << "round " << round;
  }
}

TEST(ArrayOfSets, MovingCopiesAndSwapExchanges) {
  ArrayOfSets table, other;
  table.assignFromPairs(3, 4, kPairs);
  other.assignFromPairs(1, 1, kPairs + 2);
  ArrayOfSets moved(std::move(table));          // copies: the source keeps its contents
  EXPECT_EQ(contents(table), contents(moved));  // NOLINT(bugprone-use-after-move)
  moved = std::move(other);
  EXPECT_EQ(contents(other), (Sets{{5}}));  // NOLINT(bugprone-use-after-move)
  swap(moved, table);
  EXPECT_EQ(contents(moved), (Sets{{5, 9}, {}, {7, 1}}));
  EXPECT_EQ(contents(table), (Sets{{5}}));
}

}  // namespace
