#include "commands.h"
#include "failure.h"
#include "mesh_files.h"
#include "progress.h"

#include <geom/spatial/kd_tree.h>
#include <geom/spatial/octree.h>

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace krgeom {
namespace {

struct Level {
  long long nodes = 0, leaves = 0, points = 0;
};

struct TreeShape {
  std::vector<Level> levels;
  // Leaves by size: bucket 0 holds empty leaves, bucket k sizes 2^(k-1) to 2^k - 1.
  std::vector<long long> sizeBuckets;
};

void walk(krGeom::OctreeIterator it, int depth, TreeShape& shape) {
  if (int(shape.levels.size()) <= depth) shape.levels.resize(depth + 1);
  Level& level = shape.levels[depth];
  ++level.nodes;
  if (it.isLeaf()) {
    int first = 0, end = 0;
    it.getVertexRange(first, end);
    ++level.leaves;
    level.points += end - first;
    int bucket = 0;
    for (int size = end - first; size > 0; size >>= 1) ++bucket;
    if (int(shape.sizeBuckets.size()) <= bucket) shape.sizeBuckets.resize(bucket + 1);
    ++shape.sizeBuckets[bucket];
    return;
  }
  for (int octant = 0; octant < 8; ++octant) {
    krGeom::OctreeIterator child = it;
    if (child.descend(octant)) walk(child, depth + 1, shape);
  }
}

void printHistogram(const std::vector<long long>& buckets) {
  long long most = 1;
  for (long long b : buckets) most = b > most ? b : most;
  std::printf("  leaf sizes:\n");
  for (std::size_t k = 0; k < buckets.size(); ++k) {
    const std::string range =
        k < 2 ? std::to_string(k)
              : std::to_string(1LL << (k - 1)) + "-" + std::to_string((1LL << k) - 1);
    const int bar = int(40 * buckets[k] / most);
    std::printf("    %-11s %9lld %s\n", range.c_str(), buckets[k], std::string(bar, '#').c_str());
  }
}

}  // namespace

void runOctree(const std::string& file, const OctreeSettings& settings, const Context& context) {
  if (settings.leafSize < 1) throw Failure("", "--leaf must be at least 1");
  Progress progress(!context.quiet);
  const LoadedMesh loaded = readMesh(file, progress);
  const krGeom::CompactMesh& mesh = *loaded.mesh;
  const int n = mesh.getNumVertices();
  const float* xyz = mesh.getVerticesRaw();
  if (n == 0) throw Failure(file, "the mesh has no vertices");
  krGeom::BoundingBox box;
  mesh.getBoundingBox(box);

  progress.step("building the octree");
  auto start = std::chrono::steady_clock::now();
  kr::Reference<krGeom::Octree> octree(new krGeom::Octree(n, xyz, box, false, settings.leafSize));
  const double octreeSeconds = secondsSince(start);

  progress.step("building the kd-tree");
  start = std::chrono::steady_clock::now();
  krGeom::KDTree kdTree(n);
  for (int i = 0; i < n; ++i) kdTree.insert(xyz, i);
  const double kdSeconds = secondsSince(start);
  // A box of a tenth of the mesh's extent about its middle vertex, searched twice: the first
  // search builds the tree's search cache.
  const float* c = n > 0 ? xyz + 3 * (n / 2) : xyz;
  const krLinear::VectorFlt h = box.halfDiagonal();
  const float query[6] = {c[0] - h.x() / 10, c[1] - h.y() / 10, c[2] - h.z() / 10,
                          c[0] + h.x() / 10, c[1] + h.y() / 10, c[2] + h.z() / 10};
  std::vector<int> found;
  start = std::chrono::steady_clock::now();
  kdTree.searchAll(xyz, query, found);
  const double firstSearch = secondsSince(start);
  found.clear();
  start = std::chrono::steady_clock::now();
  kdTree.searchAll(xyz, query, found);
  const double secondSearch = secondsSince(start);

  TreeShape shape;
  walk(octree->getRoot(), 0, shape);
  progress.finish();

  std::printf("%s: %d points\n", file.c_str(), n);
  std::printf("  octree (%d per leaf): depth %d, %d nodes, %d leaves, %d bytes, built in %.6f s\n",
              settings.leafSize, octree->maxDepth(), octree->numNodes(), octree->numLeafNodes(),
              octree->numBytesUsed(), octreeSeconds);
  const int deepest = settings.depth < 0 ? int(shape.levels.size()) - 1 : settings.depth;
  std::printf("    level      nodes     leaves  points in leaves\n");
  for (int d = 0; d <= deepest && d < int(shape.levels.size()); ++d)
    std::printf("    %5d %10lld %10lld %17lld\n", d, shape.levels[d].nodes, shape.levels[d].leaves,
                shape.levels[d].points);
  printHistogram(shape.sizeBuckets);
  std::printf("  kd-tree: %d points inserted in %.6f s (%.3f us per point)\n", kdTree.size(),
              kdSeconds, n > 0 ? 1e6 * kdSeconds / n : 0.0);
  std::printf(
      "    box of a tenth of the extent about the middle vertex: %zu points, first search "
      "%.6f s, second %.6f s\n",
      found.size(), firstSearch, secondSearch);
}

void addOctreeCommand(CLI::App& app, const Context& context) {
  struct Options {
    std::string file;
    OctreeSettings settings;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand(
      "octree", "Builds the octree and the kd-tree over a mesh's vertices and describes them");
  cmd->add_option("file", o->file, "Mesh file")->required();
  cmd->add_option("--leaf", o->settings.leafSize, "Points per leaf")->capture_default_str();
  cmd->add_option("--depth", o->settings.depth,
                  "Deepest level shown in the per-level table (default: all)");
  cmd->callback([o, &context] { runOctree(o->file, o->settings, context); });
}

}  // namespace krgeom
