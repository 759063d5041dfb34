#include <geom/meshes/mesh_modification.h>

#include <gtest/gtest.h>

#include <cstring>

#include "mesh_fixtures.h"

namespace {

using namespace krGeom;
using namespace krGeom::mesh_fixtures;
using MM = MeshModification;

Ints triangles(const CompactMesh& m) {
  return Ints(m.getTrianglesRaw(), m.getTrianglesRaw() + 3 * m.getNumTriangles());
}

TEST(CompactMeshPopulate, AppendsStripsAndFansWithTheirWindingAndSkipsShortSequences) {
  const int a = 10, b = 11, c = 12, d = 13, e = 14;
  kr::Reference<CompactMesh> mesh = triangleMesh(4, {0, 1, 3, 0, 3, 2});
  EXPECT_FALSE(mesh->getFlatShaded());
  mesh->allocTriangleNormalArray();
  EXPECT_TRUE(mesh->getFlatShaded()) << "implicit while triangle normals exist";

  fillSequences(mesh->getTriStrips(), {5, 6, a, b, c, d, e}, {2, 5});
  fillSequences(mesh->getTriFans(), {a, b, c, d, e, 7, 8}, {5, 2});
  const int before = mesh->getSizeInBytes();
  mesh->fullyPopulateTriangleArray();
  // The old two triangles, then the strip's, then the fan's.
  EXPECT_EQ(triangles(*mesh),
            (Ints{0, 1, 3, 0, 3, 2, a, b, c, c, b, d, c, d, e, a, b, c, a, c, d, a, d, e}));
  EXPECT_EQ(mesh->getSizeInBytes() - before, 4 * (3 + 3) * 6) << "normals follow triangles";

  fillSequences(mesh->getLineStrips(), {0, 1, 2, 5, 3, 4}, {3, 1, 2});
  mesh->fullyPopulateLineArray();
  const int* l = mesh->getLines()->v;
  EXPECT_EQ(Ints(l, l + 2 * mesh->getNumLines()), (Ints{0, 1, 1, 2, 3, 4}));
}

TEST(CompactMeshSequences, StartsCacheIsComputedKeptAndEmptied) {
  kr::Reference<CompactMesh> mesh(new CompactMesh());
  fillSequences(mesh->getPolys(), {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, {3, 4, 3});
  mesh->getPolyStarts();
  mesh->getPolys().getOffsets();
  mesh->resizePolyArrays(10, 3);
  EXPECT_EQ(mesh->getPolys().getNumStarts(), 3) << "same counts: cache kept";
  mesh->resizePolyArrays(10, 2);
  EXPECT_EQ(mesh->getPolys().getNumStarts() + mesh->getPolys().getNumOffsets(), 0);
  mesh->getPolyLengths()[0] = 4;
  EXPECT_EQ(mesh->getPolyStarts()[1], mesh->getPolyPoints() + 4);
  CompactMesh copy(*mesh);
  EXPECT_EQ(copy.getPolyStarts()[1], copy.getPolyPoints() + 4) << "a copy points into its own";

  MM m(mesh.get(), MM::eTopologyModified);
  mesh->modified(m);
  EXPECT_EQ(mesh->getPolys().getNumStarts(), 0);
  EXPECT_EQ(mesh->getNumPolys(), 2) << "polygons are never deleted by a notice";
}

// Four vertices with normals, uvs and "heat"; two triangles with normals; one of each sequence.
kr::Reference<CompactMesh> withDerivedData() {
  kr::Reference<CompactMesh> mesh = triangleMesh(4, {0, 1, 2, 2, 1, 3});
  mesh->allocNormalArray();
  mesh->allocUVArray();
  mesh->allocAttributes("heat", 1);
  mesh->allocTriangleNormalArray();
  fillSequences(mesh->getTriStrips(), {0, 1, 2, 3}, {4});
  fillSequences(mesh->getTriFans(), {0, 1, 2}, {3});
  fillSequences(mesh->getLineStrips(), {0, 1}, {2});
  fillSequences(mesh->getPolys(), {0, 1, 3, 2}, {4});
  return mesh;
}

TEST(CompactMeshNotices, EachTypeDropsWhatIsNotDeclaredValid) {
  // Triangle normals share the fate of the normals; strips, fans and line strips that of the uvs.
  const struct {
    MM::Type type;
    bool declared;  // every attribute, the triangle normals and the sequences declared kept
    const char* kept;
  } cases[] = {{MM::eTopologyModified, false, "vertices "},
               {MM::eTopologyModified, true, "vertices normals uvs heat "},
               {MM::eTransformed, false, "vertices uvs heat "},
               {MM::eTransformed, true, "vertices normals uvs heat "},
               {MM::eAttributesModified, false, "vertices normals uvs heat "}};
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << "type " << c.type << " declared " << c.declared);
    kr::Reference<CompactMesh> mesh = withDerivedData();
    krLinear::Range3d range;
    mesh->getBoundingBox(range);
    mesh->getVertices()[0].set(-9, 0, 0);
    std::string seen;
    krRTB::ScopedConnection conn =
        mesh->modifiedSignal.connect([&](EntityModification&) { seen = attributeNames(*mesh); });
    MM m(mesh.get(), c.type);
    for (auto keep : {&MM::normalsModified, &MM::uvsValid, &MM::triangleNormalsValid,
                      &MM::stripsAndFansModified, &MM::lineStripsValid})
      if (c.declared) (m.*keep)();
    if (c.declared) m.vertexAttribsModified("heat");
    mesh->modified(m);
    const bool normals = std::strstr(c.kept, "normals"), uvs = std::strstr(c.kept, "uvs");
    EXPECT_EQ(attributeNames(*mesh), c.kept);
    EXPECT_EQ(seen, c.kept) << "observers see the result";
    EXPECT_NE(m.areUVsModified(), uvs) << "a dropped attribute is recorded";
    EXPECT_EQ(mesh->getTriangleNormals() != nullptr, normals);
    EXPECT_EQ(mesh->getNumTriStrips() + mesh->getNumTriFans() + mesh->getNumLineStrips(),
              uvs ? 3 : 0);
    mesh->getBoundingBox(range);
    EXPECT_EQ(range.lower().x(), c.type == MM::eAttributesModified ? 0 : -9);
  }
}

TEST(CompactMeshSize, FormulaOnExactNumbers) {
  EXPECT_EQ(CompactMesh().getSizeInBytes(), (136 + 20) + 20 + 4 * 130);

  kr::Reference<CompactMesh> mesh = triangleMesh(3, {0, 1, 2});
  mesh->allocTriangleNormalArray();
  mesh->getSelectedVertices().resize(40);
  fillSequences(mesh->getTriStrips(), {0, 1, 2, 2, 1, 0, 2}, {3, 4});
  fillSequences(mesh->getPolys(), {0, 1, 2}, {3});
  mesh->getTriStripStarts();
  mesh->getPolys().getOffsets();
  mesh->resizeLineArray(50);  // lines are not counted
  // 136 + vertex selection (20 + one word) + vertices (4 * 9 + 88).
  const int pointMesh = 136 + 24 + (4 * 9 + 88);
  // Triangles and their normals, strip points/lengths/offsets, poly points/lengths/offsets,
  // two strip starts.
  const int words = 3 * (1 + 1) + (7 + 2 + 0) + (3 + 1 + 1) + 2 * 2 + 130;
  EXPECT_EQ(mesh->getSizeInBytes(), pointMesh + 20 + 4 * words);
}

TEST(CompactMeshCopying, AssignmentAndSwapCarryEveryPart) {
  kr::Reference<CompactMesh> source = withDerivedData(), copy = triangleMesh(5, {4, 3, 2});
  source->getSelectedTriangles().resize(40);
  source->setDrawFlags(0x30);
  source->setFlatShaded(false);
  *copy = *source;
  kr::Reference<CompactMesh> other = triangleMesh(3, {0, 1, 2});
  const int otherSize = other->getSizeInBytes();
  copy->swap(*other);
  EXPECT_EQ(copy->getSizeInBytes(), otherSize);
  EXPECT_EQ(other->getSizeInBytes(), source->getSizeInBytes()) << "every array and selection";
  EXPECT_EQ(triangles(*other), triangles(*source));
  EXPECT_TRUE(other->getDrawFlags() == 0x30 && !other->getFlatShaded());
}

}  // namespace
