#include <geom/spatial/bounding_box.h>

#include <gtest/gtest.h>

#include "mesh_fixtures.h"

namespace {

using namespace krGeom;
using namespace krGeom::mesh_fixtures;

TEST(PointMeshAttributes, AllocRulesAndTheListAfterResizeAndDelete) {
  EXPECT_EQ(PointMesh().allocAttributes("weights", 1), nullptr) << "no vertices";
  kr::Reference<PointMesh> mesh = triangleMesh(4, {});
  const std::pair<const char*, int> refused[] = {{"vertices", 3}, {"heat", 0}, {"heat", 5},
                                                 {"normals", 2},  {"uvs", 3},  {"colours", 3}};
  for (auto [name, dimension] : refused)
    EXPECT_EQ(mesh->allocAttributes(name, dimension), nullptr) << name << " " << dimension;
  mesh->allocUVArray();
  MeshAttributes* normals = mesh->allocAttributes("normals", 3);
  EXPECT_EQ(mesh->getNormalsAttr(), normals);
  EXPECT_EQ(mesh->allocAttributes("normals", 3), normals) << "a second call returns the same";
  EXPECT_EQ(mesh->allocAttributes("Normals", 2)->getDimension(), 2) << "names match exactly";

  mesh->resizeVertexArray(6);
  EXPECT_EQ(mesh->getAttributes("Normals")->getNumElements(), 6);
  mesh->deleteAttributes("vertices");
  mesh->deleteUVs();
  EXPECT_EQ(attributeNames(*mesh), "vertices normals Normals ");
  EXPECT_EQ(mesh->getUVsAttr(), nullptr);
  mesh->resizeVertexArray(0);
  mesh->resizeVertexArray(2);
  EXPECT_EQ(attributeNames(*mesh), "vertices ");
}

TEST(PointMeshBounds, InvalidBoxOrUnboundedRangeWhenEmptyAndCachedOtherwise) {
  BoundingBox box;
  krLinear::Range3d range;
  PointMesh().getBoundingBox(box);
  PointMesh().getBoundingBox(range);
  EXPECT_TRUE(!box.isValid() && range.isUnbounded());

  kr::Reference<PointMesh> mesh = triangleMesh(4, {});
  mesh->getBoundingBox(range);
  EXPECT_EQ(range, krLinear::Range3d(0, 0, 0, 3, 3, 1.5));
  const MeshVertex moved[] = {{10, 10, 10}, {11, 12, 13}};
  mesh->copyVertices(2, moved);
  mesh->getBoundingBox(box);
  EXPECT_EQ(box.maxPt().z(), 13.f) << "copyVertices invalidates the range";
}

}  // namespace
