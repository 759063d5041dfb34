#include <geom/foundation/bit_vector.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <utility>
#include <vector>

namespace {

using krGeom::BitVector;
using Bits = std::vector<int>;

Bits setIndices(const BitVector& v) {
  Bits out;
  for (int i = 0; i < v.size(); ++i)
    if (v.isBitSet(i)) out.push_back(i);
  return out;
}

BitVector fromIndices(int size, Bits indices) {
  BitVector v(size);
  v.setBits(static_cast<int>(indices.size()), indices.data());
  return v;
}

TEST(BitVector, SizeFormulaAndMaskedBitValues) {
  const std::pair<int, int> bytesBySize[] = {{0, 20}, {31, 20}, {32, 24}, {63, 24}, {64, 28}};
  for (auto [size, bytes] : bytesBySize) EXPECT_EQ(BitVector(size).numBytesUsed(), bytes) << size;

  const BitVector v = fromIndices(70, {5, 31, 37, 64});
  const std::vector<unsigned> masked = {v.isBitSet(5), v.isBitSet(31), v.isBitSet(37),
                                        v.isBitSet(64), v.isBitSet(6)};
  EXPECT_EQ(masked, (std::vector<unsigned>{32, 0x80000000u, 32, 1, 0}));
}

// Counting on single-bit changes and setAllBits is checked by the random comparison below.
TEST(BitVector, SetBitsCountsRepeatsOnceResizeDiscardsEverything) {
  BitVector v = fromIndices(40, {7, 39, 7, 0, 39});
  v.setBits(-1, nullptr);
  EXPECT_EQ(v.numSet(), 3);
  EXPECT_EQ(setIndices(v), (Bits{0, 7, 39}));
  v.resize(100);
  EXPECT_EQ(v.numSet(), 0);
  EXPECT_TRUE(setIndices(v).empty());
}

TEST(BitVector, CopiesAreIndependentMovesEmptyTheSource) {
  BitVector a = fromIndices(65, {1, 32, 64});
  BitVector b(a);
  b.clearBit(1);
  const BitVector& alias = a;
  a = alias;
  EXPECT_EQ(setIndices(a), (Bits{1, 32, 64}));

  BitVector moved(std::move(a));
  EXPECT_EQ(a.size(), 0);  // NOLINT(bugprone-use-after-move): documented moved-from state
  swap(moved, b);
  EXPECT_EQ(setIndices(moved), (Bits{32, 64}));
  EXPECT_EQ(b.numSet(), 3);
}

// The bit-by-bit rule the word-at-a-time operators must reproduce: only the first
// min(size, other.size) bits take part.
enum class Op { kAnd, kOr, kXor };
BitVector referenceCombine(BitVector self, const BitVector& other, Op op) {
  for (int i = 0; i < std::min(self.size(), other.size()); ++i) {
    const bool a = self.isBitSet(i) != 0, b = other.isBitSet(i) != 0;
    const bool result = op == Op::kAnd ? (a && b) : op == Op::kOr ? (a || b) : (a != b);
    result ? self.setBit(i) : self.clearBit(i);
  }
  return self;
}

TEST(BitVector, WordOperatorsMatchBitByBitReference) {
  const unsigned rngSeed = 20240611;
  std::printf("BitVector random combination rngSeed: %u\n", rngSeed);
  std::mt19937 rng(rngSeed);
  const int sizes[] = {0, 1, 7, 31, 32, 33, 63, 64, 65, 95, 97, 1001};
  // Half the vectors start from setAllBits, so their spare bits are set and must not leak in.
  auto randomVector = [&](int size, double density) {
    BitVector v(size);
    if (rng() % 2) v.setAllBits();
    std::bernoulli_distribution bit(density);
    for (int i = 0; i < size; ++i) bit(rng) ? v.setBit(i) : v.clearBit(i);
    return v;
  };
  for (int sizeA : sizes) {
    for (int sizeB : sizes) {
      for (Op op : {Op::kAnd, Op::kOr, Op::kXor}) {
        for (double density : {0.1, 0.5, 0.9}) {
          BitVector a = randomVector(sizeA, density), b = randomVector(sizeB, density);
          const BitVector expected = referenceCombine(a, b, op);
          op == Op::kAnd ? a &= b : op == Op::kOr ? a |= b : a ^= b;
          const Bits got = setIndices(a);
          ASSERT_EQ(got, setIndices(expected)) << sizeA << " op " << int(op) << " " << sizeB;
          ASSERT_EQ(a.numSet(), static_cast<int>(got.size())) << sizeA << " " << sizeB;
        }
      }
    }
  }
}

}  // namespace
