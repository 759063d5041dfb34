#include <geom/meshes/remap.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using krGeom::BitVector;
using krGeom::Remap;
using Ints = std::vector<int>;

const auto entries = [](const Remap& m) { return Ints(m.getArray().begin(), m.getArray().end()); };
Remap fromEntries(const Ints& values, int rangeSize) {
  Remap map(static_cast<int>(values.size()), rangeSize);
  std::copy(values.begin(), values.end(), map.get());
  return map;
}
BitVector bits(int size, Ints set) {
  BitVector v(size);
  v.setBits(static_cast<int>(set.size()), set.data());
  return v;
}

TEST(Remap, DeleteMapAndInverseWhereTheLastSourceWins) {
  Remap map;
  map.setDeleteMap(bits(5, {1, 4}));
  EXPECT_EQ(entries(map), (Ints{0, -1, 1, 2, -1}));
  EXPECT_EQ(map.getRangeSize(), 3);
  kr::Reference<Remap> back = map.inverse();
  EXPECT_EQ(entries(*back), (Ints{0, 2, 3}));
  EXPECT_EQ(back->getRangeSize(), 5);
  EXPECT_EQ(entries(*fromEntries({1, 1, -1, 1}, 3).inverse()), (Ints{-1, 3, -1}));
}

TEST(Remap, ComposeInPlaceAndApply) {
  const Remap first = fromEntries({2, -1, 0, 1}, 3);
  Remap both = fromEntries({1, -1, 0}, 2);  // removes target 1
  both.compose(first, both);
  EXPECT_EQ(entries(both), (Ints{0, -1, 1, -1}));
  EXPECT_EQ(both.getRangeSize(), 2);
  Remap self = fromEntries({1, 2, 0}, 3);
  self.compose(self, self);
  EXPECT_EQ(entries(self), (Ints{2, 0, 1}));

  // Applying a map leaves negative values alone and counts each output bit once.
  int values[] = {3, -1, 0, 1, -5};
  first(values, 5);
  EXPECT_EQ(Ints(values, values + 5), (Ints{1, -1, 2, -1, -5}));
  BitVector out = bits(3, {1});
  first(out, bits(4, {0, 2, 3}));
  EXPECT_EQ(out.numSet(), 3);
  EXPECT_TRUE(out.isBitSet(0) && out.isBitSet(2));
}

TEST(Remap, FillingRenumberingAndSwap) {
  Remap map(6, 6);
  map.setSequential();
  map.set(1, 3, -1);
  map.set(4, 2, 9);  // first > last: nothing
  EXPECT_EQ(entries(map), (Ints{0, -1, -1, -1, 4, 5}));
  EXPECT_EQ(map.setValidSequential(), 3);
  EXPECT_EQ(entries(map), (Ints{0, -1, -1, -1, 1, 2}));
  map.resize(8, 3);  // keeps the leading entries
  EXPECT_EQ(Ints(map.get(), map.get() + 6), (Ints{0, -1, -1, -1, 1, 2}));

  Remap other = fromEntries({1, 0}, 2);
  map.swap(other);
  EXPECT_EQ(entries(map), (Ints{1, 0}));
  EXPECT_EQ(map.getRangeSize(), 2);
  EXPECT_EQ(other.getRangeSize(), 3);
}

}  // namespace
