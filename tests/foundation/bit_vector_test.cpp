#include <geom/foundation/bit_vector.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>
#include <utility>
#include <vector>

namespace {

using krGeom::BitVector;

std::vector<int> setIndices(const BitVector& v) {
  std::vector<int> out;
  for (int i = 0; i < v.size(); ++i) {
    if (v.isBitSet(i)) out.push_back(i);
  }
  return out;
}

BitVector fromIndices(int size, std::vector<int> indices) {
  BitVector v(size);
  v.setBits(static_cast<int>(indices.size()), indices.data());
  return v;
}

TEST(BitVector, SizeFormulaAndEmptyState) {
  const std::pair<int, int> expected[] = {{0, 20},  {1, 20},  {31, 20}, {32, 24},
                                          {33, 24}, {63, 24}, {64, 28}, {65, 28}};
  for (auto [size, bytes] : expected) {
    BitVector v(size);
    EXPECT_EQ(v.size(), size);
    EXPECT_EQ(v.numSet(), 0);
    EXPECT_EQ(v.numBytesUsed(), bytes) << "size " << size;
    EXPECT_EQ(v.getSizeInBytes(), bytes) << "size " << size;
    EXPECT_TRUE(setIndices(v).empty());
  }
  BitVector none;
  none.clearBits();
  none.setAllBits();
  EXPECT_EQ(none.size(), 0);
  EXPECT_EQ(none.numSet(), 0);
}

TEST(BitVector, IsBitSetReturnsTheMaskedBit) {
  BitVector v(70);
  v.setBit(5);
  v.setBit(37);
  v.setBit(31);
  v.setBit(64);
  EXPECT_EQ(v.isBitSet(5), 32u);
  EXPECT_EQ(v.isBitSet(37), 32u);
  EXPECT_EQ(v.isBitSet(31), 0x80000000u);
  EXPECT_EQ(v.isBitSet(64), 1u);
  EXPECT_EQ(v.isBitSet(6), 0u);
  EXPECT_EQ(v.isBitSet(32), 0u);
}

TEST(BitVector, CountChangesOnlyWhenABitChanges) {
  BitVector v(40);
  v.setBit(3);
  v.setBit(3);
  EXPECT_EQ(v.numSet(), 1);
  v.clearBit(4);
  EXPECT_EQ(v.numSet(), 1);
  v.clearBit(3);
  v.clearBit(3);
  EXPECT_EQ(v.numSet(), 0);

  const int indices[] = {7, 39, 7, 0, 39};
  v.setBits(5, indices);
  EXPECT_EQ(v.numSet(), 3);
  EXPECT_EQ(setIndices(v), (std::vector<int>{0, 7, 39}));
  v.setBits(0, nullptr);
  v.setBits(-1, nullptr);
  EXPECT_EQ(v.numSet(), 3);
}

TEST(BitVector, WholeVectorOperations) {
  for (int size : {1, 31, 32, 33, 64}) {
    BitVector v(size);
    v.setAllBits();
    EXPECT_EQ(v.numSet(), size);
    EXPECT_NE(v.isBitSet(size - 1), 0u);
    v.clearBit(0);
    EXPECT_EQ(v.numSet(), size - 1);
    v.clearBits();
    EXPECT_EQ(v.numSet(), 0);
    EXPECT_TRUE(setIndices(v).empty());
  }
  // resize discards everything, also when growing.
  BitVector v = fromIndices(33, {0, 32});
  v.resize(100);
  EXPECT_EQ(v.size(), 100);
  EXPECT_EQ(v.numSet(), 0);
  EXPECT_TRUE(setIndices(v).empty());
  v.resize(0);
  EXPECT_EQ(v.size(), 0);
  EXPECT_EQ(v.numBytesUsed(), 20);
}

TEST(BitVector, CopyMoveAndSwapKeepContents) {
  BitVector a = fromIndices(65, {1, 32, 64});
  BitVector b(a);
  EXPECT_EQ(setIndices(b), setIndices(a));
  EXPECT_EQ(b.numSet(), 3);
  b.clearBit(1);
  EXPECT_NE(a.isBitSet(1), 0u) << "copies share no words";

  BitVector& alias = a;
  a = alias;
  EXPECT_EQ(setIndices(a), (std::vector<int>{1, 32, 64}));
  EXPECT_EQ(a.numSet(), 3);

  BitVector c(5);
  c = a;
  EXPECT_EQ(c.size(), 65);
  EXPECT_EQ(setIndices(c), setIndices(a));
  c = BitVector();
  EXPECT_EQ(c.size(), 0);
  EXPECT_EQ(c.numSet(), 0);

  BitVector moved(std::move(a));
  EXPECT_EQ(setIndices(moved), (std::vector<int>{1, 32, 64}));
  EXPECT_EQ(a.size(), 0);  // NOLINT(bugprone-use-after-move): documented moved-from state
  EXPECT_EQ(a.numSet(), 0);

  BitVector small = fromIndices(3, {2});
  swap(moved, small);
  EXPECT_EQ(moved.size(), 3);
  EXPECT_EQ(setIndices(moved), std::vector<int>{2});
  EXPECT_EQ(small.size(), 65);
  EXPECT_EQ(small.numSet(), 3);
}

TEST(BitVector, CombinationLeavesTheLongerTailAlone) {
  BitVector ten = fromIndices(10, {1, 2, 6, 9});
  BitVector five = fromIndices(5, {2, 3});
  BitVector a = ten;
  a &= five;
  EXPECT_EQ(setIndices(a), (std::vector<int>{2, 6, 9}));
  EXPECT_EQ(a.numSet(), 3);
  a = ten;
  a |= five;
  EXPECT_EQ(setIndices(a), (std::vector<int>{1, 2, 3, 6, 9}));
  EXPECT_EQ(a.numSet(), 5);
  a = ten;
  a ^= five;
  EXPECT_EQ(setIndices(a), (std::vector<int>{1, 3, 6, 9}));
  EXPECT_EQ(a.numSet(), 4);

  // The shorter side: only its own bits change; the longer vector's bits beyond are not read.
  BitVector b = five;
  b |= ten;
  EXPECT_EQ(setIndices(b), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(b.numSet(), 3);
}

// The bit-by-bit rule the word-at-a-time operators must reproduce.
enum class Op { kAnd, kOr, kXor };
void referenceCombine(BitVector& self, const BitVector& other, Op op) {
  const int m = std::min(self.size(), other.size());
  for (int i = 0; i < m; ++i) {
    const bool a = self.isBitSet(i) != 0;
    const bool b = other.isBitSet(i) != 0;
    const bool result = op == Op::kAnd ? (a && b) : op == Op::kOr ? (a || b) : (a != b);
    if (result) {
      self.setBit(i);
    } else {
      self.clearBit(i);
    }
  }
}

TEST(BitVector, WordOperatorsMatchBitByBitReference) {
  const unsigned seed = 20240611;
  std::printf("BitVector random combination seed: %u\n", seed);
  std::mt19937 rng(seed);
  const int sizes[] = {0, 1, 7, 31, 32, 33, 63, 64, 65, 95, 97, 1001};
  for (int sizeA : sizes) {
    for (int sizeB : sizes) {
      for (Op op : {Op::kAnd, Op::kOr, Op::kXor}) {
        for (int density : {10, 50, 90}) {
          std::bernoulli_distribution bit(density / 100.0);
          BitVector a(sizeA);
          BitVector b(sizeB);
          // Spare bits set by setAllBits must neither be counted nor disturb the result.
          if (density == 90) a.setAllBits();
          for (int i = 0; i < sizeA; ++i) {
            if (!bit(rng)) a.clearBit(i);
          }
          for (int i = 0; i < sizeB; ++i) {
            if (bit(rng)) b.setBit(i);
          }
          BitVector expected = a;
          referenceCombine(expected, b, op);
          if (op == Op::kAnd) a &= b;
          if (op == Op::kOr) a |= b;
          if (op == Op::kXor) a ^= b;
          ASSERT_EQ(setIndices(a), setIndices(expected))
              << "sizes " << sizeA << ", " << sizeB << " op " << static_cast<int>(op);
          ASSERT_EQ(a.numSet(), expected.numSet())
              << "sizes " << sizeA << ", " << sizeB << " op " << static_cast<int>(op);
          ASSERT_EQ(a.numSet(), static_cast<int>(setIndices(a).size()));
        }
      }
    }
  }
}

}  // namespace
