#include <geom/meshes/mesh_adjacency.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using krGeom::ArrayOfSets;
using krGeom::MeshAdjTris;
using krGeom::MeshAdjVertices;
using krGeom::MeshTriAdjTris;

// A closed fan of six triangles around vertex 0 (rim vertices 1 ... 6), plus an unused vertex 7.
const int kFan[18] = {0, 1, 2, 0, 2, 3, 0, 3, 4, 0, 4, 5, 0, 5, 6, 0, 6, 1};

ArrayOfSets vertexTriangles() {
  std::vector<int> pairs;
  for (int t = 0; t < 6; ++t)
    for (int k = 0; k < 3; ++k) pairs.insert(pairs.end(), {kFan[3 * t + k], t});
  ArrayOfSets table;
  table.assignFromPairs(8, 18, pairs.data());
  return table;
}

std::vector<int> listOf(const int* p, int n) {
  return std::vector<int>(p, p + n);
}

TEST(MeshAdjTris, TakesTheTableAndCopiesTriangles) {
  ArrayOfSets table = vertexTriangles();
  MeshAdjTris adj(table);
  EXPECT_EQ(table.getSets().size(), 0);
  EXPECT_EQ(adj.maxTris(), 6);
  EXPECT_EQ(adj.numTris(0), 6);
  EXPECT_EQ(listOf(adj.triIndices(2), adj.numTris(2)), (std::vector<int>{0, 1}));
  EXPECT_EQ(adj.numBytesUsed(), 4 * (8 + 18) + 72);

  int out[3 * 2 + 1];
  out[6] = -9;
  adj.copyTriangles(1, out, kFan);
  EXPECT_EQ(listOf(out, 7), (std::vector<int>{0, 1, 2, 0, 6, 1, -9}));
  out[0] = -7;
  adj.copyTriangles(7, out, kFan);  // a vertex in no triangle writes nothing
  EXPECT_EQ(out[0], -7);

  MeshAdjTris empty;
  empty.swap(adj);
  EXPECT_EQ(empty.numTris(0), 6);
  EXPECT_EQ(adj.maxTris(), 0);
  EXPECT_EQ(adj.numBytesUsed(), 72);
}

TEST(MeshTriAdjTris, MaxTrisCountsTheLastSetToTheEndOfTheMembers) {
  // Triangle 2's six neighbours are the last set, which has no following offset.
  ArrayOfSets table(3, 8);
  const int offsets[3] = {0, 1, 2};
  const int members[8] = {1, 0, 0, 1, 3, 4, 5, 6};
  std::memcpy(table.getOffsets().data(), offsets, sizeof offsets);
  std::memcpy(table.getSets().data(), members, sizeof members);
  MeshTriAdjTris adj(table);
  EXPECT_EQ(table.getNumSets(), 0);
  EXPECT_EQ(adj.maxTris(), 6);
  EXPECT_EQ(adj.numTris(0), 1);
  EXPECT_EQ(listOf(adj.triIndices(2), 6), (std::vector<int>{0, 1, 3, 4, 5, 6}));
  EXPECT_EQ(adj.numBytesUsed(), 4 * (3 + 8) + 72);
}

TEST(MeshAdjVertices, ReadsLengthPrefixedListsAndOwnsThem) {
  // Vertex 0: neighbours 1, 2; vertex 1: none; vertex 2: neighbour 0.
  int* offsets = static_cast<int*>(std::malloc(3 * sizeof(int)));
  int* data = static_cast<int*>(std::malloc(6 * sizeof(int)));
  const int o[3] = {0, 3, 4}, d[6] = {2, 1, 2, 0, 1, 0};
  std::memcpy(offsets, o, sizeof o);
  std::memcpy(data, d, sizeof d);
  MeshAdjVertices adj(3, 7, offsets, data);  // maxVerts is stored as given
  EXPECT_EQ(adj.maxVerts(), 7);
  EXPECT_EQ(listOf(adj.vertexIndices(0), adj.numVertices(0)), (std::vector<int>{1, 2}));
  EXPECT_EQ(adj.numVertices(1), 0);
  EXPECT_EQ(listOf(adj.vertexIndices(2), adj.numVertices(2)), (std::vector<int>{0}));
  EXPECT_EQ(adj.numBytesUsed(), 32 * 3 + 40);

  MeshAdjVertices other;
  other.swap(adj);  // both destructors then free what each holds
  EXPECT_EQ(other.numVertices(0), 2);
  EXPECT_EQ(adj.numBytesUsed(), 40);
  MeshAdjVertices ten(10, 0, static_cast<int*>(std::malloc(4)), nullptr);
  EXPECT_EQ(ten.numBytesUsed(), 360);
}

}  // namespace
