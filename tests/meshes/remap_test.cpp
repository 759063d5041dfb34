#include <geom/meshes/remap.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

namespace {

using krGeom::BitVector;
using krGeom::Remap;
using ::testing::ElementsAre;

std::vector<int> entries(const Remap& map) {
  const int* first = map.get();
  return first ? std::vector<int>(first, first + map.getDomainSize()) : std::vector<int>{};
}

Remap fromEntries(std::initializer_list<int> values, int rangeSize) {
  Remap map(static_cast<int>(values.size()), rangeSize);
  int i = 0;
  for (int v : values) map.set(i++, v);
  return map;
}

BitVector bits(int size, std::initializer_list<int> set) {
  BitVector v(size);
  for (int i : set) v.setBit(i);
  return v;
}

TEST(Remap, DeleteMapAndItsInverse) {
  Remap map;
  map.setDeleteMap(bits(5, {1, 4}));
  EXPECT_THAT(entries(map), ElementsAre(0, -1, 1, 2, -1));
  EXPECT_EQ(map.getDomainSize(), 5);
  EXPECT_EQ(map.getRangeSize(), 3);

  kr::Reference<Remap> back = map.inverse();
  EXPECT_EQ(back->refs(), 1);
  EXPECT_THAT(entries(*back), ElementsAre(0, 2, 3));
  EXPECT_EQ(back->getDomainSize(), 3);
  EXPECT_EQ(back->getRangeSize(), 5);

  // Several sources on one target: the last one wins; unreached targets stay -1.
  kr::Reference<Remap> merged = fromEntries({1, 1, -1, 1}, 3).inverse();
  EXPECT_THAT(entries(*merged), ElementsAre(-1, 3, -1));

  map.setDeleteMap(BitVector());
  EXPECT_EQ(map.getDomainSize(), 0);
  EXPECT_EQ(map.get(), nullptr);
  EXPECT_EQ(map.getRangeSize(), 0);
}

TEST(Remap, ComposeAppliesFirstThenSecond) {
  const Remap first = fromEntries({2, -1, 0, 1}, 3);
  const Remap second = fromEntries({1, -1, 0}, 2);  // removes target 1
  Remap both;
  both.compose(first, second);
  EXPECT_THAT(entries(both), ElementsAre(0, -1, 1, -1));
  EXPECT_EQ(both.getRangeSize(), 2);

  // Composing into one of the arguments reads the arguments as they were.
  Remap inPlace = second;
  inPlace.compose(first, inPlace);
  EXPECT_THAT(entries(inPlace), ElementsAre(0, -1, 1, -1));
  Remap self = fromEntries({1, 2, 0}, 3);
  self.compose(self, self);
  EXPECT_THAT(entries(self), ElementsAre(2, 0, 1));
}

TEST(Remap, FillingOperations) {
  Remap map(6, 6);
  map.setSequential();
  EXPECT_THAT(entries(map), ElementsAre(0, 1, 2, 3, 4, 5));
  map.set(1, 3, -1);
  EXPECT_THAT(entries(map), ElementsAre(0, -1, -1, -1, 4, 5));
  map.set(4, 2, 9);  // first > last: nothing
  map.set(5, 5, 7);
  EXPECT_THAT(entries(map), ElementsAre(0, -1, -1, -1, 4, 7));
  map.set(3);
  EXPECT_THAT(entries(map), ElementsAre(3, 3, 3, 3, 3, 3));

  Remap valid = fromEntries({-1, 7, -1, 4}, 8);
  EXPECT_EQ(valid.setValidSequential(), 2);
  EXPECT_THAT(entries(valid), ElementsAre(-1, 0, -1, 1));
  EXPECT_EQ(valid.getRangeSize(), 8);

  valid.resize(6, 3);  // keeps the leading entries
  EXPECT_EQ(valid.getDomainSize(), 6);
  EXPECT_EQ(valid.getRangeSize(), 3);
  EXPECT_THAT(std::vector<int>(valid.get(), valid.get() + 4), ElementsAre(-1, 0, -1, 1));
}

TEST(Remap, ApplyingToIndicesArraysAndBits) {
  const Remap map = fromEntries({2, -1, 0, 1}, 3);
  EXPECT_EQ(map(0), 2);
  EXPECT_EQ(map(1), -1);

  int values[] = {3, -1, 0, 1, -5};
  map(values, 5);
  EXPECT_THAT(values, ElementsAre(1, -1, 2, -1, -5));

  krGeom::Array<int> array;
  array.resize(3);
  array[0] = 2;
  array[1] = -1;
  array[2] = 3;
  map(array);
  EXPECT_THAT(array, ElementsAre(0, -1, 1));

  BitVector out = bits(3, {1});
  map(out, bits(4, {0, 2, 3}));
  EXPECT_NE(out.isBitSet(0), 0u);
  EXPECT_NE(out.isBitSet(1), 0u);
  EXPECT_NE(out.isBitSet(2), 0u);
  EXPECT_EQ(out.numSet(), 3) << "bit 1 was already set and must be counted once";
}

TEST(Remap, CopyAssignAndSwapAreIndependent) {
  Remap a = fromEntries({1, 0}, 2);
  Remap b(a);
  b.set(0, -1);
  EXPECT_THAT(entries(a), ElementsAre(1, 0));

  Remap c = fromEntries({4, 4, 4}, 5);
  c = a;
  EXPECT_THAT(entries(c), ElementsAre(1, 0));
  EXPECT_EQ(c.getRangeSize(), 2);
  const Remap& alias = c;
  c = alias;
  EXPECT_THAT(entries(c), ElementsAre(1, 0));

  Remap d = fromEntries({0, 1, 2}, 7);
  d.swap(b);
  EXPECT_THAT(entries(d), ElementsAre(-1, 0));
  EXPECT_EQ(d.getRangeSize(), 2);
  EXPECT_THAT(entries(b), ElementsAre(0, 1, 2));
  EXPECT_EQ(b.getRangeSize(), 7);

  krGeom::MeshRemap pair(&a, nullptr);
  EXPECT_EQ(pair.getVertices(), &a);
  EXPECT_EQ(pair.getTriangles(), nullptr);
}

}  // namespace
