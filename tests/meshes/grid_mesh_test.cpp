// Grid meshes, subsets and arrangements.
#include <geom/geom.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace krGeom;

TEST(GridMeshTest, GridIndexingKeepsItsDeliberatePairing) {
  std::vector<MeshVertex> v;
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 4; ++i) v.push_back({float(i), float(j), 0.f});
  kr::Reference<GridMesh> grid(new GridMesh(4, 3, v.data(), nullptr, nullptr, nullptr));
  EXPECT_EQ(grid->getNumVertices(), 12);
  EXPECT_EQ(grid->getNormals(), nullptr);
  EXPECT_EQ(grid->nu(), 4);
  EXPECT_EQ(grid->vertexNum(1, 2), 9);
  EXPECT_EQ(grid->getVertices()[9].y, 2.f);
  int u = -1, w = -1;
  grid->uvIndexes(9, u, w);  // divides by nv, not nu
  EXPECT_EQ(u, 0);
  EXPECT_EQ(w, 3);
  GridMesh other(2, 2, nullptr, nullptr, nullptr, nullptr);
  other = *grid;
  EXPECT_EQ(other.nv(), 3);
  EXPECT_EQ(other.getNumVertices(), 12);
}

TEST(GridMeshTest, SubsetsCopyTheirListsAndArrangementsDeleteOnce) {
  std::vector<int> verts = {4, 5, 6}, tris = {1};
  kr::Reference<MeshSubset> s(new MeshSubset(3, verts.data(), 1, tris.data()));
  verts[0] = 99;
  EXPECT_EQ(s->getVertexRefs()[0], 4);
  EXPECT_EQ(s->getNumTriangles(), 1);
  EXPECT_THROW(MeshSubset(-1, nullptr, 0, nullptr), std::bad_alloc);

  const int live = numberOfActiveEntities();
  kr::list<MeshPlacement> scene;
  addMeshToArrangement(scene, *new CompactMesh());
  krLinear::AffineMatrixFlt m = krLinear::AffineMatrixFlt::identity();
  m(3, 0) = 2.f;
  addMeshToArrangement(scene, *new CompactMesh(), m);
  EXPECT_EQ(numberOfActiveEntities(), live + 2);
  EXPECT_EQ(scene.back().matrix(3, 0), 2.f);
  EXPECT_EQ(scene.front().matrix, krLinear::AffineMatrixFlt::identity());
  deleteMeshesInArrangement(scene);
  deleteMeshesInArrangement(scene);  // each mesh is deleted once
  EXPECT_EQ(numberOfActiveEntities(), live);
  ASSERT_EQ(scene.size(), 2u);
  EXPECT_EQ(scene.front().mesh, nullptr);
}

}  // namespace
