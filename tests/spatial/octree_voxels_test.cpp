#include <geom/spatial/octree_voxels.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace krGeom {
namespace {

using ::testing::ElementsAre;

std::vector<int> list(const int* first, int count) {
  return std::vector<int>(first, first + count);
}

// Sets {5, 9}, {}, {7, 1, 5}: an element may be listed in several voxels.
ArrayOfSets sampleTable() {
  const int pairs[] = {2, 7, 0, 5, 2, 1, 0, 9, 2, 5};
  ArrayOfSets table;
  table.assignFromPairs(3, 5, pairs);
  return table;
}

// The two tables differ only in names; one typed test covers both.
template <class T>
struct Access;
template <>
struct Access<OctreeTris> {
  static int count(const OctreeTris& t, int v) { return t.numTris(v); }
  static const int* first(const OctreeTris& t, int v) { return t.firstTri(v); }
};
template <>
struct Access<OctreeLines> {
  static int count(const OctreeLines& t, int v) { return t.numLines(v); }
  static const int* first(const OctreeLines& t, int v) { return t.firstLine(v); }
};

template <class T>
class OctreeVoxelsTest : public ::testing::Test {};
using Tables = ::testing::Types<OctreeTris, OctreeLines>;
TYPED_TEST_SUITE(OctreeVoxelsTest, Tables);

TYPED_TEST(OctreeVoxelsTest, TakesTheCallersTableCopiesAndSwaps) {
  using A = Access<TypeParam>;
  auto lists = [](const TypeParam& t, int v) { return list(A::first(t, v), A::count(t, v)); };
  EXPECT_EQ(TypeParam().numBytesUsed(), 64);
  ArrayOfSets table = sampleTable();
  auto* source = new TypeParam(table);
  kr::Reference<TypeParam> held(source);
  EXPECT_EQ(table.getNumSets(), 0);
  EXPECT_EQ(table.getSets().size(), 0);
  ASSERT_EQ(source->numVoxels(), 3);
  EXPECT_THAT(lists(*source, 0), ElementsAre(5, 9));
  EXPECT_EQ(A::count(*source, 1), 0);
  EXPECT_EQ(source->numBytesUsed(), 4 * (3 + 5) + 64);

  TypeParam copy(*source), assigned;
  assigned = *source;
  EXPECT_EQ(copy.refs(), 0);
  held.reset();  // destroys the source: the copies own their lists
  EXPECT_THAT(lists(copy, 2), ElementsAre(7, 1, 5));
  EXPECT_THAT(lists(assigned, 2), ElementsAre(7, 1, 5));
  TypeParam other;
  other.swap(copy);
  EXPECT_EQ(copy.numVoxels(), 0);
  EXPECT_THAT(lists(other, 0), ElementsAre(5, 9));
}

}  // namespace
}  // namespace krGeom
