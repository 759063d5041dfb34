// End to end: a mesh whose arrays live in moveable memory survives unmap and map, even when
// every block moves to a new address.
#include <geom/foundation/moveable_array_allocator.h>
#include <geom/meshes/compact_mesh.h>
#include <geom/meshes/mesh_modification.h>
#include <kr/moveable.h>

#include <gtest/gtest.h>

#include "mesh_fixtures.h"

namespace krGeom {
namespace {

using testing::fillSequences;

class MoveableMeshTest : public ::testing::Test {
 protected:
  void SetUp() override { pool_.setMoveOnMap(true); }

  // An 8 x 8 grid (98 triangles) with normals, colours, a custom attribute, triangle normals,
  // strips and a line strip, built in moveable storage: the allocator comes before the data.
  kr::Reference<CompactMesh> build() {
    kr::Reference<CompactMesh> mesh(new CompactMesh(store_));
    const kr::Reference<CompactMesh> grid = testing::quadGrid(8, 8);
    mesh->copyVertices(64, grid->getVertices());
    mesh->allocNormalArray();
    mesh->allocColourArray();
    float* weights = mesh->allocAttributes("weights", 1)->asFloat();
    for (int i = 0; i < 64; ++i) {
      mesh->getNormals()[i].set(0.f, 0.f, 1.f);
      mesh->getColours()[i].set(float(i), 0.5f, 0.25f, 1.f);
      weights[i] = float(i) / 4;
    }
    mesh->copyTriangles(98, grid->getTrianglesRaw());
    mesh->allocTriangleNormalArray();
    for (int i = 0; i < 98; ++i) mesh->getTriangleNormals()[i].set(0.f, 1.f, float(i));
    fillSequences(mesh->getTriStrips(), {{0, 8, 1, 9, 2}, {3, 11, 4, 12}});
    fillSequences(mesh->getLineStrips(), {{0, 1, 2, 3}});
    mesh->getTriStripStarts();
    mesh->getTriStrips().getOffsets();
    return mesh;
  }

  // Every float and index the mesh holds, in a fixed order.
  static std::vector<double> contents(const CompactMesh& m) {
    std::vector<double> all;
    auto add = [&](const auto* p, int n) { all.insert(all.end(), p, p + n); };
    add(m.getVerticesRaw(), 3 * 64);
    add(m.getNormalsRaw(), 3 * 64);
    add(m.getColoursRaw(), 4 * 64);
    add(m.getAttributes("weights")->asFloat(), 64);
    add(m.getTrianglesRaw(), 3 * m.getNumTriangles());
    add(m.getTriangleNormalsRaw(), 3 * m.getNumTriangles());
    add(m.getTriStripPoints(), m.getNumTriStripPoints());
    add(m.getTriStripLengths(), m.getNumTriStrips());
    add(m.getTriStrips().getOffsets(), m.getNumTriStrips());
    add(m.getLineStripPoints(), m.getNumLineStripPoints());
    return all;
  }

  MoveableArrayAllocator& moveable() { return static_cast<MoveableArrayAllocator&>(*store_); }

  krOS::MoveableAllocator pool_;
  kr::Reference<ArrayAllocator> store_{new MoveableArrayAllocator(pool_)};
};

TEST_F(MoveableMeshTest, ContentsSurviveUnmapAndAMovingMap) {
  kr::Reference<CompactMesh> mesh = build();
  const std::vector<double> before = contents(*mesh);
  EXPECT_EQ(before[3 * 9], 1.0) << "vertex 9 is (1, 1, 0)";
  EXPECT_EQ(mesh->getVerticesAttr()->getArrayAllocator(), store_);

  const MeshVertex* oldVertices = mesh->getVertices();
  const int* oldTriangles = mesh->getTrianglesRaw();
  moveable().unmap();
  EXPECT_EQ(mesh->getVertices(), nullptr);
  EXPECT_EQ(mesh->getTriStripPoints(), nullptr);
  moveable().map();
  EXPECT_NE(mesh->getVertices(), oldVertices) << "move-on-map gives every block a new address";
  EXPECT_NE(mesh->getTrianglesRaw(), oldTriangles);
  EXPECT_EQ(contents(*mesh), before);

  // Start pointers are stale after a move by contract; a topology notice rebuilds them.
  MeshModification m(mesh.get(), MeshModification::eTopologyModified);
  m.stripsAndFansValid();
  m.lineStripsValid();
  m.normalsValid();
  m.coloursValid();
  m.triangleNormalsValid();
  m.vertexAttribsValid("weights");
  mesh->modified(m);
  EXPECT_EQ(mesh->getTriStripStarts()[1], mesh->getTriStripPoints() + 5);

  // Edits after mapping land in the new blocks and survive the next move.
  mesh->fullyPopulateTriangleArray();
  mesh->fullyPopulateLineArray();
  moveable().unmap();
  moveable().map();
  ASSERT_EQ(mesh->getNumTriangles(), 98 + 5);
  EXPECT_EQ(mesh->getTriangles()[98], (MeshTriangle{{0, 8, 1}}));
  EXPECT_EQ(mesh->getTriangles()[102], (MeshTriangle{{4, 11, 12}}));
  EXPECT_EQ(mesh->getLines()[2], (MeshLine{{2, 3}}));
  EXPECT_EQ(mesh->getTriangleNormals()[97].z, 97.f);
}

TEST_F(MoveableMeshTest, OneBlockPerArrayReleasedWithTheMesh) {
  {
    kr::Reference<CompactMesh> mesh = build();
    // 4 attributes, triangles, triangle normals, 4 strip arrays, 2 line-strip arrays.
    EXPECT_EQ(moveable().numBlocks(), 12u);
    EXPECT_EQ(pool_.numChunks(), 12u);
  }
  EXPECT_EQ(moveable().numBlocks(), 0u);
  EXPECT_EQ(pool_.numChunks(), 0u);
}

TEST_F(MoveableMeshTest, AllocatorGivenAfterFillingLosesAccessByContract) {
  kr::Reference<CompactMesh> mesh = testing::loneTriangle();
  mesh->setArrayAllocator(store_);
  EXPECT_EQ(mesh->getNumVertices(), 3);
  EXPECT_EQ(mesh->getVertices(), nullptr) << "the contents stay behind under a temporary key";
  EXPECT_EQ(mesh->getTriangles(), nullptr);
  const int tri[] = {2, 1, 0};
  mesh->copyTriangles(0, nullptr);
  mesh->copyTriangles(1, tri);
  EXPECT_EQ(mesh->getTriangles()[0], (MeshTriangle{{2, 1, 0}})) << "refilled under its own key";
}

}  // namespace
}  // namespace krGeom
