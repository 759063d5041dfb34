// Allocation failures in the spatial indexes (octree, quadtree and kd-tree builds, the kd-tree's
// search cache) and in the packet writer and reader. Builds are constructors, so a failure
// leaves nothing behind; the kd-tree stays searchable; a write can be repeated; a read throws
// std::bad_alloc, hands out what it finished, and the context reads again.
#include "allocation_sweep.h"
#include "meshes/mesh_fixtures.h"
#include "packets/packet_fixtures.h"
#include "topo_fixtures.h"

#include <geom/geom.h>

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

using namespace krGeom;
using failalloc::Outcome;
using failalloc::runFailing;
using failalloc::sweep;

std::vector<float> randomPoints(int n) {
  std::mt19937 rng(n);
  std::uniform_real_distribution<float> u(-1.0f, 1.0f);
  std::vector<float> xyz(3 * static_cast<std::size_t>(n));
  for (float& x : xyz) x = u(rng);
  return xyz;
}

TEST(SpatialAllocationTest, BuildsLeakNothingAndTheKdTreeStaysSearchable) {
  const std::vector<float> xyz = randomPoints(2000);
  const float lo[3] = {-1, -1, -1}, hi[3] = {1, 1, 1};
  sweep("Octree build", [&](long n) {
    return runFailing(n, [&] {
      kr::Reference<Octree> tree(new Octree(2000, xyz.data(), BoundingBox(lo, hi), false, 8));
    });
  });
  sweep("Quadtree build and copy", [&](long n) {
    return runFailing(n, [&] {
      Quadtree tree(2000, xyz.data(), BoundingBox(lo, hi));
      Quadtree copy(tree);
    });
  });
  const float box[6] = {-0.5f, -0.5f, -0.5f, 0.5f, 0.5f, 0.5f};
  std::vector<int> expected;
  {
    KDTree tree(2000);
    for (int i = 0; i < 2000; ++i) tree.insert(xyz.data(), i);
    tree.searchAll(xyz.data(), box, expected);
  }
  sweep("KDTree build, inserts and a search (its cache)", [&](long n) {
    std::vector<int> found;
    std::unique_ptr<KDTree> kept;
    const Outcome o = runFailing(n, [&] {
      auto tree = std::make_unique<KDTree>(2000);
      for (int i = 0; i < 2000; ++i) tree->insert(xyz.data(), i);
      kept = std::move(tree);
      kept->searchAll(xyz.data(), box, found);
    });
    if (kept) {  // built: a search that ran out of memory leaves the tree searchable
      found.clear();
      kept->searchAll(xyz.data(), box, found);
      EXPECT_EQ(found, expected);
    }
    return o;
  });
}

// A stream with a mesh, a camera and a half-edge mesh.
struct Scene {
  kr::Reference<CompactMesh> mesh = mesh_fixtures::triangleMesh(9, {0, 1, 2, 3, 4, 5, 6, 7, 8});
  TopoMesh topo;
  Camera camera;
  Scene() {
    mesh->allocNormalArray();
    for (int i = 0; i < 9; ++i) mesh->getNormals()[i].set(0, 1, 0);
    topofix::buildOctahedron(topo);
  }
  void write(ioWriteContext& out) const {
    packetFile::writeMesh(out, mesh.get(), 1.0, false);
    packetFile::writeCamera(out, camera);
    topo.writePF(out);
  }
};

// What a reader took from a stream, written again.
std::vector<std::uint8_t> rewrite(PacketReader& r, const Camera& camera) {
  kr::Reference<CompactMesh> mesh(r.reader.getLastMesh(true));
  std::vector<kr::Reference<TopoMesh>> topos = r.topoMeshes();
  if (!mesh || topos.size() != 1) return {};
  EXPECT_STREQ(topos[0]->findBrokenInvariant().c_str(), "");
  return writeStream([&](ioWriteContext& out) {
    packetFile::writeMesh(out, mesh.get(), 1.0, false);
    packetFile::writeCamera(out, camera);
    topos[0]->writePF(out);
  });
}

TEST(PacketAllocationTest, WritesRepeatAndReadsThrowAndReadAgain) {
  const Scene scene;
  const std::vector<std::uint8_t> bytes =
      writeStream([&](ioWriteContext& out) { scene.write(out); });
  sweep("packet writer (mesh, camera, half-edge mesh)", [&](long n) {
    std::vector<std::uint8_t> written;
    const Outcome o = runFailing(
        n, [&] { written = writeStream([&](ioWriteContext& out) { scene.write(out); }); });
    if (o.threw) written = writeStream([&](ioWriteContext& out) { scene.write(out); });
    EXPECT_EQ(written, bytes);
    return o;
  });
  sweep("packet type registration", [&](long n) { return runFailing(n, [] { PacketReader r; }); });
  sweep("packet reader (mesh, camera, half-edge mesh)", [&](long n) {
    PacketReader r;
    ioStatus status;
    const Outcome o = runFailing(n, [&] { status = r.read(bytes); });
    if (o.threw) {
      // What was finished can be taken; then the same context reads the stream whole.
      kr::Reference<CompactMesh> partial(r.reader.getLastMesh(true));
      for (const kr::Reference<TopoMesh>& t : r.topoMeshes())
        EXPECT_STREQ(t->findBrokenInvariant().c_str(), "");
      status = r.read(bytes);
    }
    EXPECT_TRUE(status.ok()) << status.message();
    EXPECT_EQ(rewrite(r, scene.camera), bytes);
    return o;
  });
}

}  // namespace
