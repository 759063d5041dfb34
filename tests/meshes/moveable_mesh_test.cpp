// End to end: a mesh whose arrays live in moveable memory survives unmap and map, even when
// every block moves to a new address.
#include <geom/foundation/moveable_array_allocator.h>
#include <geom/meshes/mesh_modification.h>
#include <geom/meshes/moveable_mesh.h>
#include <kr/moveable.h>

#include <gtest/gtest.h>

#include "mesh_fixtures.h"

namespace {

using namespace krGeom;
using namespace krGeom::mesh_fixtures;

// Every float and index the mesh holds, in a fixed order.
std::vector<double> contents(const CompactMesh& m) {
  std::vector<double> all;
  auto add = [&](const auto* p, int n) { all.insert(all.end(), p, p + n); };
  add(m.getVerticesRaw(), 3 * m.getNumVertices());
  add(m.getTrianglesRaw(), 3 * m.getNumTriangles());
  add(m.getTriangleNormalsRaw(), 3 * m.getNumTriangles());
  add(m.getTriStripPoints(), m.getNumTriStripPoints());
  return all;
}

// A strip of n - 2 triangles with triangle normals, kept in moveable memory whose blocks move to
// new addresses at every map.
struct MovingMesh {
  krOS::MoveableAllocator pool;
  kr::Reference<MoveableArrayAllocator> store;
  kr::Reference<CompactMesh> mesh;
  explicit MovingMesh(int n) {
    pool.setMoveOnMap(true);
    store = new MoveableArrayAllocator(pool);
    Ints tris;
    for (int i = 0; i + 2 < n; ++i) tris.insert(tris.end(), {i, i + 1, i + 2});
    mesh = triangleMesh(n, tris, store);
    mesh->allocTriangleNormalArray();
    for (int i = 0; i + 2 < n; ++i) mesh->getTriangleNormals()[i].set(0.f, 1.f, float(i));
  }
};

TEST(MoveableMesh, ContentsSurviveUnmapAndAMovingMap) {
  MovingMesh moving(64);
  krOS::MoveableAllocator& pool = moving.pool;
  kr::Reference<MoveableArrayAllocator>& store = moving.store;
  kr::Reference<CompactMesh>& mesh = moving.mesh;
  fillSequences(mesh->getTriStrips(), {0, 8, 1, 9, 2, 3, 11, 4, 12}, {5, 4});
  mesh->getTriStripStarts();
  // Vertices, triangles, triangle normals, 3 strip arrays.
  EXPECT_EQ(store->numBlocks(), 6u);

  const std::vector<double> before = contents(*mesh);
  const MeshVertex* oldVertices = mesh->getVertices();
  store->unmap();
  store->map();
  EXPECT_NE(mesh->getVertices(), oldVertices) << "move-on-map gives every block a new address";
  EXPECT_EQ(contents(*mesh), before);

  // Start pointers are stale after a move by contract; a topology notice drops them.
  MeshModification m(mesh.get(), MeshModification::eTopologyModified);
  m.stripsAndFansValid();
  mesh->modified(m);
  EXPECT_EQ(mesh->getTriStripStarts()[1], mesh->getTriStripPoints() + 5);
  mesh = nullptr;
  EXPECT_EQ(store->numBlocks() + pool.numChunks(), 0u);
}

TEST(MoveableMesh, AGuardMapsWhileItLivesAndContentsComeBackAtNewAddresses) {
  MovingMesh moving(32);
  const kr::Reference<MoveableArrayAllocator>& store = moving.store;
  const kr::Reference<CompactMesh>& mesh = moving.mesh;
  const std::vector<double> before = contents(*mesh);
  const MeshVertex* first = nullptr;
  {
    MoveableMesh guard(*mesh);
    EXPECT_TRUE(store->isMapped());
    first = guard.get().getVertices();
  }
  EXPECT_FALSE(store->isMapped());
  {
    MoveableMesh guard(*mesh);
    EXPECT_NE(guard.get().getVertices(), first);
    EXPECT_EQ(contents(guard.get()), before);
  }
  // Without a moveable allocator a guard maps and unmaps nothing.
  kr::Reference<CompactMesh> plain = triangleMesh(3, {0, 1, 2});
  MoveableMesh guard(*plain);
  EXPECT_EQ(&guard.get(), plain.get());
}

TEST(MoveableMesh, AllocatorChangesLeaveFilledContentsBehindAndBlockSwaps) {
  krOS::MoveableAllocator pool;
  kr::Reference<MoveableArrayAllocator> store(new MoveableArrayAllocator(pool));
  kr::Reference<CompactMesh> plain = triangleMesh(3, {0, 1, 2});

  // Assigned attributes keep the source's (heap) storage; the index arrays keep the target's.
  kr::Reference<CompactMesh> held(new CompactMesh(store));
  *held = *plain;
  EXPECT_EQ(held->getVerticesAttr()->getArrayAllocator(), nullptr);
  EXPECT_EQ(store->numBlocks(), 1u);

  const MeshVertex* vertices = plain->getVertices();
  for (bool heldFirst : {false, true}) {
    heldFirst ? held->swap(*plain) : plain->swap(*held);
    EXPECT_EQ(plain->getVertices(), vertices) << "no swap when either mesh has an allocator";
  }

  plain->setArrayAllocator(store);
  EXPECT_TRUE(!plain->getVertices() && !plain->getTriangles()) << "contents stay behind";
  const int tri[] = {2, 1, 0};
  plain->copyTriangles(0, nullptr);
  plain->copyTriangles(1, tri);
  EXPECT_EQ(plain->getTriangles()[0], (MeshTriangle{2, 1, 0})) << "refilled under its own key";
}

}  // namespace
