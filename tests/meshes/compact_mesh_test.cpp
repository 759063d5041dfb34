#include <geom/meshes/compact_mesh.h>
#include <geom/meshes/mesh_modification.h>

#include <gtest/gtest.h>

#include "mesh_fixtures.h"

namespace krGeom {
namespace {

using testing::fillSequences;
using Tris = std::vector<MeshTriangle>;
using Lines = std::vector<MeshLine>;

Tris triangles(const CompactMesh& mesh) {
  const MeshTriangle* t = mesh.getTriangles();
  return t ? Tris(t, t + mesh.getNumTriangles()) : Tris{};
}

// The byte difference that the triangle normals make in the size formula: 12 per normal.
int triangleNormalBytes(const CompactMesh& mesh) {
  CompactMesh without(mesh);
  without.deleteTriangleNormals();
  return mesh.getSizeInBytes() - without.getSizeInBytes();
}

TEST(CompactMeshState, DefaultsAndFlatShading) {
  kr::Reference<CompactMesh> mesh(new CompactMesh());
  EXPECT_EQ(mesh->getTriStripStarts(), nullptr);
  EXPECT_TRUE(mesh->getTriNormalsComputed());
  EXPECT_FALSE(mesh->hasCurveData());
  EXPECT_FALSE(mesh->hasSurfaceData());
  EXPECT_FALSE(mesh->getFlatShaded());
  mesh->allocTriangleNormalArray();
  EXPECT_EQ(mesh->getTriangleNormals(), nullptr) << "no triangles, no normals";
  mesh->resizeLineStripArrays(2, 1);
  EXPECT_TRUE(mesh->hasCurveData());
  EXPECT_FALSE(mesh->hasSurfaceData());

  kr::Reference<CompactMesh> tri = testing::loneTriangle();
  EXPECT_TRUE(tri->hasSurfaceData());
  tri->allocTriangleNormalArray();
  EXPECT_TRUE(tri->getFlatShaded()) << "implicit: triangle normals exist";
  tri->setFlatShaded(false);
  EXPECT_FALSE(tri->getFlatShaded()) << "the explicit setting wins";
}

TEST(CompactMeshTriangles, NormalsExistOnRequestAndFollowTheTriangleCount) {
  kr::Reference<CompactMesh> mesh = testing::quadGrid(3, 2);
  EXPECT_EQ(triangles(*mesh), (Tris{{{0, 1, 4}}, {{0, 4, 3}}, {{1, 2, 5}}, {{1, 5, 4}}}));
  EXPECT_EQ(mesh->getTrianglesRaw()[5], 3);

  mesh->resizeTriangleArray(6);
  EXPECT_EQ(mesh->getTriangleNormals(), nullptr);
  mesh->allocTriangleNormalArray();
  EXPECT_EQ(triangleNormalBytes(*mesh), 12 * 6);
  mesh->resizeTriangleArray(2);
  EXPECT_EQ(triangleNormalBytes(*mesh), 12 * 2);
  const int idx[] = {7, 8, 9};
  mesh->copyTriangles(1, idx);
  EXPECT_EQ(triangles(*mesh), (Tris{{{7, 8, 9}}}));
  EXPECT_EQ(triangleNormalBytes(*mesh), 12 * 1);

  mesh->copyTriangles(0, nullptr);
  EXPECT_EQ(mesh->getNumTriangles(), 0);
  EXPECT_EQ(mesh->getTriangleNormals(), nullptr);
}

TEST(CompactMeshPopulate, StripsKeepWindingAndFansTurnAroundTheirCentre) {
  const int a = 10, b = 11, c = 12, d = 13, e = 14;
  kr::Reference<CompactMesh> mesh(new CompactMesh());
  fillSequences(mesh->getTriStrips(), {{a, b, c, d, e}});
  fillSequences(mesh->getTriFans(), {{a, b, c, d, e}});
  mesh->fullyPopulateTriangleArray();
  EXPECT_EQ(triangles(*mesh), (Tris{{{a, b, c}},
                                    {{c, b, d}},
                                    {{c, d, e}},  // the strip
                                    {{a, b, c}},
                                    {{a, c, d}},
                                    {{a, d, e}}}));
  EXPECT_EQ(mesh->getNumTriStrips() + mesh->getNumTriFans(), 2) << "sequences are kept";

  kr::Reference<CompactMesh> two = testing::stripOfTwo();
  two->fullyPopulateTriangleArray();
  EXPECT_EQ(triangles(*two), (Tris{{{0, 1, 2}}, {{2, 1, 3}}}));

  kr::Reference<CompactMesh> six = testing::closedFanOfSix();
  six->fullyPopulateTriangleArray();
  EXPECT_EQ(triangles(*six),
            (Tris{{{0, 1, 2}}, {{0, 2, 3}}, {{0, 3, 4}}, {{0, 4, 5}}, {{0, 5, 6}}, {{0, 6, 1}}}));
}

TEST(CompactMeshPopulate, AppendsBehindExistingDataAndSkipsShortSequences) {
  kr::Reference<CompactMesh> mesh = testing::quadGrid(2, 2);
  mesh->allocTriangleNormalArray();
  mesh->fullyPopulateTriangleArray();
  EXPECT_EQ(mesh->getNumTriangles(), 2) << "no strips or fans: nothing changes";

  fillSequences(mesh->getTriStrips(), {{5, 6}, {0, 1, 2, 3}});
  fillSequences(mesh->getTriFans(), {{7, 8}});
  mesh->fullyPopulateTriangleArray();
  EXPECT_EQ(triangles(*mesh), (Tris{{{0, 1, 3}}, {{0, 3, 2}}, {{0, 1, 2}}, {{2, 1, 3}}}));
  EXPECT_EQ(triangleNormalBytes(*mesh), 12 * 4) << "existing normals grow with the triangles";

  mesh->resizeLineArray(1);
  mesh->getLines()[0] = MeshLine{{8, 9}};
  fillSequences(mesh->getLineStrips(), {{0, 1, 2}, {5}, {3, 4}});
  mesh->fullyPopulateLineArray();
  const MeshLine* l = mesh->getLines();
  EXPECT_EQ(Lines(l, l + mesh->getNumLines()), (Lines{{{8, 9}}, {{0, 1}}, {{1, 2}}, {{3, 4}}}));
}

TEST(CompactMeshSequences, StartsCacheIsComputedKeptAndEmptied) {
  kr::Reference<CompactMesh> mesh(new CompactMesh());
  fillSequences(mesh->getPolys(), {{0, 1, 2}, {3, 4, 5, 6}, {7, 8, 9}});
  const int* const* starts = mesh->getPolyStarts();
  EXPECT_EQ(starts[0], mesh->getPolyPoints());
  EXPECT_EQ(starts[2], mesh->getPolyPoints() + 7);
  EXPECT_EQ(mesh->getPolys().getOffsets()[2], 7);

  mesh->resizePolyArrays(10, 3);
  EXPECT_EQ(mesh->getPolys().getNumStarts(), 3) << "same counts: cache kept";
  mesh->resizePolyArrays(10, 2);
  EXPECT_EQ(mesh->getPolys().getNumStarts() + mesh->getPolys().getNumOffsets(), 0);
  mesh->getPolyLengths()[0] = 4;
  mesh->getPolyLengths()[1] = 6;
  EXPECT_EQ(mesh->getPolyStarts()[1], mesh->getPolyPoints() + 4);

  CompactMesh copy(*mesh);
  EXPECT_EQ(copy.getPolyStarts()[1], copy.getPolyPoints() + 4) << "a copy points into its own";

  MeshModification m(mesh.get(), MeshModification::eTopologyModified);
  mesh->modified(m);
  EXPECT_EQ(mesh->getPolys().getNumStarts(), 0);
  EXPECT_EQ(mesh->getNumPolys(), 2) << "polygons are never deleted by a notice";
}

// A mesh with every kind of derived data that a notice may drop.
kr::Reference<CompactMesh> withDerivedData() {
  kr::Reference<CompactMesh> mesh = testing::stripOfTwo();
  mesh->fullyPopulateTriangleArray();
  mesh->allocTriangleNormalArray();
  fillSequences(mesh->getTriFans(), {{0, 1, 2}});
  fillSequences(mesh->getLineStrips(), {{0, 1}});
  fillSequences(mesh->getPolys(), {{0, 1, 3, 2}});
  mesh->resizeLineArray(1);
  return mesh;
}

TEST(CompactMeshNotices, TopologyDropsDerivedDataUnlessDeclaredValid) {
  kr::Reference<CompactMesh> mesh = withDerivedData();
  int delivered = 0;
  krRTB::ScopedConnection c = mesh->modifiedSignal.connect([&](EntityModification& m) {
    ++delivered;
    EXPECT_EQ(m.getType(), eMesh);
    EXPECT_EQ(mesh->getTriangleNormals(), nullptr) << "observers see the mesh after the change";
  });
  MeshModification drop(mesh.get(), MeshModification::eTopologyModified);
  mesh->modified(drop);
  EXPECT_EQ(delivered, 1);
  EXPECT_EQ(mesh->getNumTriStrips() + mesh->getNumTriFans() + mesh->getNumLineStrips(), 0);
  EXPECT_EQ(mesh->getNumTriangles(), 2);
  EXPECT_EQ(mesh->getNumLines(), 1);
  EXPECT_EQ(mesh->getNumPolys(), 1);

  kr::Reference<CompactMesh> kept = withDerivedData();
  MeshModification keep(kept.get(), MeshModification::eTopologyModified);
  keep.triangleNormalsValid();
  keep.stripsAndFansModified();
  keep.lineStripsValid();
  kept->modified(keep);
  EXPECT_NE(kept->getTriangleNormals(), nullptr);
  EXPECT_EQ(kept->getNumTriStrips() + kept->getNumTriFans() + kept->getNumLineStrips(), 3);
}

TEST(CompactMeshNotices, TransformDropsTriangleNormalsAttributeNoticeKeepsThem) {
  kr::Reference<CompactMesh> mesh = withDerivedData();
  MeshModification attrs(mesh.get(), MeshModification::eAttributesModified);
  mesh->modified(attrs);
  EXPECT_NE(mesh->getTriangleNormals(), nullptr);

  MeshModification valid(mesh.get(), MeshModification::eTransformed);
  valid.triangleNormalsValid();
  mesh->modified(valid);
  EXPECT_NE(mesh->getTriangleNormals(), nullptr);

  MeshModification moved(mesh.get(), MeshModification::eTransformed);
  mesh->modified(moved);
  EXPECT_EQ(mesh->getTriangleNormals(), nullptr);
  EXPECT_EQ(mesh->getNumTriStrips(), 1) << "a transform keeps the strips";
}

TEST(CompactMeshSize, FormulaOnExactNumbers) {
  EXPECT_EQ(CompactMesh().getSizeInBytes(), (136 + 20) + 20 + 4 * 130);

  kr::Reference<CompactMesh> mesh = testing::loneTriangle();  // 3 vertices, 1 triangle
  mesh->allocTriangleNormalArray();
  mesh->getSelectedTriangles().resize(1);
  fillSequences(mesh->getTriStrips(), {{0, 1, 2}, {2, 1, 0, 2}});  // 7 points, 2 lengths
  fillSequences(mesh->getPolys(), {{0, 1, 2}});                    // 3 points, 1 length
  mesh->getTriStripStarts();
  mesh->getPolys().getOffsets();
  const int pointMesh = 136 + 20 + (4 * 9 + 88);
  const int words = 3 * (1 + 1) + (7 + 2 + 0) + (3 + 1 + 1) + 2 * 2 + 130;
  EXPECT_EQ(mesh->getSizeInBytes(), pointMesh + 20 + 4 * words);

  mesh->resizeLineArray(50);
  EXPECT_EQ(mesh->getSizeInBytes(), pointMesh + 20 + 4 * words) << "lines are not counted";
}

TEST(CompactMeshCopying, AssignmentCopiesEverything) {
  kr::Reference<CompactMesh> source = withDerivedData();
  source->getTriangleNormals()[1].set(0.f, 0.f, 1.f);
  source->getLines()[0] = MeshLine{{1, 3}};
  source->getSelectedTriangles().resize(2);
  source->getSelectedTriangles().setBit(1);
  int info = 0;
  source->setRenderInfo(&info);
  source->setDrawFlags(0x30);
  source->setFlatShaded(false);
  source->setTriNormalsComputed(false);
  source->getTriFanStarts();

  kr::Reference<CompactMesh> target = testing::closedFanOfSix();
  *target = *source;
  EXPECT_EQ(triangles(*target), triangles(*source));
  EXPECT_EQ(target->getLines()[0], (MeshLine{{1, 3}}));
  EXPECT_EQ(target->getTriangleNormals()[1].z, 1.f);
  EXPECT_EQ(target->getTriFanPoints()[2], 2);
  EXPECT_EQ(target->getTriFanStarts()[0], target->getTriFanPoints());
  EXPECT_TRUE(target->getSelectedTriangles().isBitSet(1));
  EXPECT_EQ(target->getRenderInfo(), &info);
  EXPECT_EQ(target->getDrawFlags(), 0x30);
  EXPECT_FALSE(target->getFlatShaded());
  EXPECT_FALSE(target->getTriNormalsComputed());
  EXPECT_EQ(target->getSizeInBytes(), source->getSizeInBytes());
}

TEST(CompactMeshCopying, SwapExchangesAllOrNothing) {
  kr::Reference<CompactMesh> a = testing::closedFanOfSix();
  kr::Reference<CompactMesh> b = testing::loneTriangle();
  a->setDrawFlags(1);
  a->getSelectedTriangles().resize(3);
  const int* const* fanStarts = a->getTriFanStarts();
  a->swap(*b);
  EXPECT_EQ(triangles(*a), (Tris{{{0, 1, 2}}}));
  EXPECT_EQ(a->getNumTriFans(), 0);
  EXPECT_EQ(b->getTriFanStarts(), fanStarts);
  EXPECT_EQ(b->getTriFanStarts()[0], b->getTriFanPoints());
  EXPECT_EQ(b->getDrawFlags(), 1);
  EXPECT_EQ(b->getSelectedTriangles().size(), 3);

  kr::Reference<CompactMesh> held(new CompactMesh(new testing::NullAllocator()));
  b->swap(*held);
  held->swap(*b);
  EXPECT_EQ(b->getNumTriFans(), 1);
  EXPECT_EQ(b->getDrawFlags(), 1);
}

}  // namespace
}  // namespace krGeom
