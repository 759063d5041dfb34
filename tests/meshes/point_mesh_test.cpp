#include <geom/meshes/mesh_modification.h>
#include <geom/meshes/point_mesh.h>
#include <geom/spatial/bounding_box.h>

#include <gtest/gtest.h>

#include "mesh_fixtures.h"

namespace krGeom {
namespace {

using testing::attributeNames;
using testing::vertex;
using Names = std::vector<std::string>;

// Four vertices (0,0,0) (1,2,3) (-1,5,0) (4,-2,1) and a "weights" attribute 0, 0.5, 1, 1.5.
kr::Reference<PointMesh> fourPoints() {
  const MeshVertex v[] = {vertex(0, 0, 0), vertex(1, 2, 3), vertex(-1, 5, 0), vertex(4, -2, 1)};
  kr::Reference<PointMesh> mesh(new PointMesh(4, v, nullptr, nullptr, nullptr));
  float* w = mesh->allocAttributes("weights", 1)->asFloat();
  for (int i = 0; i < 4; ++i) w[i] = float(i) * 0.5f;
  return mesh;
}

TEST(PointMeshAttributes, AllocAttributesRules) {
  kr::Reference<PointMesh> empty(new PointMesh());
  EXPECT_EQ(empty->allocAttributes("weights", 1), nullptr) << "no vertices";

  kr::Reference<PointMesh> mesh = fourPoints();
  for (auto [name, dimension] : {std::pair{"vertices", 3},
                                 {"heat", 0},
                                 {"heat", 5},
                                 {"normals", 2},
                                 {"uvs", 3},
                                 {"sts", 4},
                                 {"colours", 3},
                                 {"weights", 2}}) {
    EXPECT_EQ(mesh->allocAttributes(name, dimension), nullptr) << name << " " << dimension;
  }
  MeshAttributes* normals = mesh->allocAttributes("normals", 3);
  ASSERT_NE(normals, nullptr);
  EXPECT_EQ(mesh->getNormalsAttr(), normals);
  EXPECT_EQ(normals->getNumElements(), 4);
  EXPECT_EQ(mesh->allocAttributes("normals", 3), normals) << "a second call returns the same";
  EXPECT_EQ(mesh->allocAttributes("Normals", 2)->getDimension(), 2) << "names match exactly";

  kr::set<krString::CString, kr::less<krString::CString>> names{"existing"};
  mesh->getAttributeNames(names);
  EXPECT_EQ(names, (kr::set<krString::CString, kr::less<krString::CString>>{
                       "Normals", "existing", "normals", "vertices", "weights"}));
}

TEST(PointMeshAttributes, DeleteRefreshesCachedPointersAndKeepsVertices) {
  kr::Reference<PointMesh> mesh = fourPoints();
  mesh->allocUVArray();
  mesh->allocSTArray();
  mesh->allocColourArray();
  mesh->allocNormalArray();
  mesh->deleteAttributes("vertices");
  mesh->deleteUVs();
  mesh->deleteAttributes("weights");
  EXPECT_EQ(attributeNames(*mesh), (Names{"vertices", "sts", "colours", "normals"}));
  EXPECT_EQ(mesh->getUVsAttr(), nullptr);
  EXPECT_EQ(mesh->getSTsAttr(), mesh->getAttributes(1));
  EXPECT_EQ(mesh->getNormalsAttr(), mesh->getAttributes(3));

  mesh->setNormalsComputed(true);
  EXPECT_FALSE(mesh->getNormalsAttr()->isStoreable());
  mesh->deleteNormals();
  mesh->setNormalsComputed(true);
  EXPECT_FALSE(mesh->getNormalsComputed());
}

TEST(PointMeshAttributes, ResizeKeepsPrefixAndZeroRemovesEverything) {
  kr::Reference<PointMesh> mesh = fourPoints();
  mesh->resizeVertexArray(6);
  EXPECT_EQ(mesh->getAttributes("weights")->getNumElements(), 6);
  EXPECT_EQ(mesh->getAttributes("weights")->asFloat()[3], 1.5f);
  EXPECT_EQ(mesh->getVertices()[3].x, 4.f);

  mesh->resizeVertexArray(0);
  EXPECT_EQ(mesh->getNumAttributes(), 0);
  mesh->resizeVertexArray(2);
  EXPECT_EQ(attributeNames(*mesh), (Names{"vertices"}));
}

TEST(PointMeshBounds, InvalidBoxOrUnboundedRangeWhenEmptyAndCachedOtherwise) {
  PointMesh empty;
  BoundingBox box;
  krLinear::Range3d range;
  empty.getBoundingBox(box);
  empty.getBoundingBox(range);
  EXPECT_EQ(box.minPt().x(), BoundingBox::invalidValue);
  EXPECT_TRUE(range.isUnbounded());

  kr::Reference<PointMesh> mesh = fourPoints();
  mesh->getBoundingBox(range);
  EXPECT_EQ(range, krLinear::Range3d(-1, -2, 0, 4, 5, 3));
  const MeshVertex moved[] = {vertex(10, 10, 10), vertex(11, 12, 13)};
  mesh->copyVertices(2, moved);
  mesh->getBoundingBox(box);
  EXPECT_EQ(box.maxPt().z(), 13.f) << "copyVertices invalidates the range";
  mesh->resizeVertexArray(3);
  mesh->getVertices()[2] = vertex(-50, 0, 0);
  mesh->getBoundingBox(range);
  EXPECT_EQ(range.lower().x(), 10.0) << "stale by contract until a notice invalidates it";

  mesh->allocUVArray();
  mesh->setUVRange(krLinear::Range2d(krLinear::Point2(0, 0), krLinear::Point2(2, 0.5)));
  EXPECT_EQ(mesh->getUVRange().upper(), krLinear::Point2(2, 0.5));
  EXPECT_TRUE(mesh->getSTRange().isUnbounded());
}

TEST(PointMeshNotices, TransformDropsNormalsUnlessDeclaredAndObserversSeeTheResult) {
  kr::Reference<PointMesh> mesh = fourPoints();
  mesh->allocNormalArray();
  const EntityModification* received = nullptr;
  Names seen;
  krRTB::ScopedConnection c = mesh->modifiedSignal.connect([&](EntityModification& m) {
    received = &m;
    seen = attributeNames(*mesh);
  });

  MeshModification m(mesh.get(), MeshModification::eTransformed);
  mesh->modified(m);
  EXPECT_EQ(mesh->getNormalsAttr(), nullptr);
  EXPECT_TRUE(m.areNormalsModified()) << "a dropped attribute is recorded in the notice";
  EXPECT_EQ(received, &m);
  EXPECT_EQ(seen, (Names{"vertices", "weights"}));

  for (bool viaModified : {false, true}) {
    mesh->allocNormalArray();
    MeshModification kept(mesh.get(), MeshModification::eTransformed);
    viaModified ? kept.normalsModified() : kept.normalsValid();
    mesh->modified(kept);
    EXPECT_NE(mesh->getNormalsAttr(), nullptr) << "viaModified " << viaModified;
  }
}

TEST(PointMeshNotices, TopologyDropsWhatIsNotValidAttributesOnlyKeepsAll) {
  kr::Reference<PointMesh> mesh = fourPoints();
  mesh->allocUVArray();
  mesh->allocColourArray();
  mesh->allocAttributes("heat", 1);
  mesh->allocAttributes("mask", 1);
  krLinear::Range3d range;
  mesh->getBoundingBox(range);
  mesh->getVertices()[0] = vertex(-9, 0, 0);

  MeshModification untouched(mesh.get(), MeshModification::eAttributesModified);
  mesh->modified(untouched);
  EXPECT_EQ(mesh->getNumAttributes(), 6);
  mesh->getBoundingBox(range);
  EXPECT_EQ(range.lower().x(), -1.0) << "vertices not declared modified: range kept";

  MeshModification m(mesh.get(), MeshModification::eTopologyModified);
  m.uvsValid();
  m.vertexAttribsValid("heat");
  m.vertexAttribsModified("mask");
  mesh->modified(m);
  EXPECT_EQ(attributeNames(*mesh), (Names{"vertices", "uvs", "heat", "mask"}));
  EXPECT_EQ(mesh->getColoursAttr(), nullptr);
  EXPECT_TRUE(m.areVertexAttribsModified("weights"));
  EXPECT_FALSE(m.areUVsModified());
  mesh->getBoundingBox(range);
  EXPECT_EQ(range.lower().x(), -9.0) << "topology declares the vertices modified";
}

TEST(PointMeshCopying, AssignmentCopiesContentsButNotTheAllocator) {
  kr::Reference<PointMesh> source = fourPoints();
  source->getSelectedVertices().resize(4);
  source->getSelectedVertices().setBit(2);
  kr::Reference<ArrayAllocator> allocator(new testing::NullAllocator());
  kr::Reference<PointMesh> target(new PointMesh(allocator));
  *target = *source;
  EXPECT_EQ(target->getArrayAllocator(), allocator);
  EXPECT_EQ(target->getVerticesAttr()->getArrayAllocator(), nullptr)
      << "copies keep the source's storage policy";
  EXPECT_NE(target->getVerticesAttr(), source->getVerticesAttr());
  EXPECT_EQ(target->getVertices()[3].y, -2.f);
  EXPECT_EQ(target->getAttributes("weights")->asFloat()[3], 1.5f);
  EXPECT_TRUE(target->getSelectedVertices().isBitSet(2));
  EXPECT_EQ(target->getSizeInBytes(), source->getSizeInBytes());
}

TEST(PointMeshCopying, SwapDoesNothingWhenEitherMeshHasAnAllocator) {
  kr::Reference<PointMesh> a = fourPoints();
  kr::Reference<PointMesh> b(new PointMesh(1, nullptr, nullptr, nullptr, nullptr));
  MeshAttributes* bVertices = b->getVerticesAttr();
  a->swap(*b);
  EXPECT_EQ(a->getNumVertices(), 1);
  EXPECT_EQ(a->getVerticesAttr(), bVertices);
  EXPECT_EQ(b->getAttributes("weights")->asFloat()[1], 0.5f);

  kr::Reference<PointMesh> held(new PointMesh(new testing::NullAllocator()));
  held->swap(*a);
  a->swap(*held);
  EXPECT_EQ(a->getVerticesAttr(), bVertices);
  EXPECT_EQ(held->getNumAttributes(), 0);
}

TEST(PointMeshSize, FormulaOnExactNumbers) {
  EXPECT_EQ(PointMesh().getSizeInBytes(), 136 + 20);
  PointMesh mesh(10, nullptr, nullptr, nullptr, nullptr);
  mesh.allocUVArray();
  mesh.getSelectedVertices().resize(40);
  // 136 + selection (4 * 1 + 20) + vertices (4 * 30 + 88) + uvs (4 * 20 + 88).
  EXPECT_EQ(mesh.getSizeInBytes(), 136 + 24 + 208 + 168);
}

}  // namespace
}  // namespace krGeom
