#include <geom/foundation/entity.h>
#include <geom/spatial/octree.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <regex>
#include <string>
#include <vector>

namespace krGeom {
namespace {

BoundingBox boundsOf(const std::vector<float>& xyz) {
  BoundingBox box;
  box.setInvalid();
  for (std::size_t i = 0; i < xyz.size(); i += 3) box.extend({xyz[i], xyz[i + 1], xyz[i + 2]});
  return box;
}

// Checks a whole tree against what its definition implies, walking it with the iterator.
struct Walker {
  const Octree& tree;
  int vertsPerLeaf;
  bool keepEmpty;
  int limit = 0, nextRun = 0, nodes = 0, deepest = 0, nextFresh = 1;
  std::vector<int> leafSeen = {};

  // Whether the points of a run are not all within one float step of its first point, where
  // "first" is as the build saw it: before a node is split its run is in ascending index order.
  bool separable(int first, int end) const {
    const float* v = tree.getVertices();
    const int* r = tree.getRemap();
    const int lead = first < end ? *std::min_element(r + first, r + end) : 0;
    for (int i = first; i < end; ++i)
      for (int k = 0; k < 3; ++k) {
        const float a = v[3 * lead + k], b = v[3 * r[i] + k];
        if (a != b && std::nextafterf(a, b) != b) return true;
      }
    return false;
  }

  // Visits the subtree at `it` whose expected leaf number is `leafNum`. Leaf numbers: the first
  // child of a split inherits, the others take fresh numbers in octant order at the time of the
  // split.
  void visit(const OctreeIterator& it, int level, int leafNum) {
    ++nodes;
    deepest = std::max(deepest, level);
    float lo[3], hi[3], rootMax[3];
    it.getBox().minPt(lo), it.getBox().maxPt(hi), tree.getRoot().getBox().maxPt(rootMax);
    const int start = nextRun;
    if (it.isLeaf()) {
      int first, end;
      it.getVertexRange(first, end);
      EXPECT_EQ(std::make_pair(first, it.getLeafNum()), std::make_pair(start, leafNum));
      ++leafSeen.at(it.getLeafNum());
      nextRun = end;
      EXPECT_TRUE(keepEmpty || first < end) << "an empty leaf without keep-empty";
      EXPECT_TRUE(end - first <= vertsPerLeaf || level == 1 || level == limit + 1 ||
                  !separable(first, end))
          << "an oversized leaf";
      for (int i = first; i < end; ++i) {
        EXPECT_TRUE(i == first || tree.getRemap()[i - 1] < tree.getRemap()[i]) << "not stable";
        const float* p = tree.getVertices() + 3 * tree.getRemap()[i];
        for (int k = 0; k < 3; ++k)  // half-open boxes, closed at the root's upper faces
          EXPECT_TRUE(p[k] >= lo[k] && (p[k] < hi[k] || (p[k] == hi[k] && hi[k] == rootMax[k])));
      }
      return;
    }
    std::vector<int> present;
    for (int c = 0; c < 8; ++c)
      if (OctreeIterator(it).descend(c)) present.push_back(c);
    const bool flat = lo[0] == hi[0] || lo[1] == hi[1] || lo[2] == hi[2];
    EXPECT_TRUE(!keepEmpty || flat || present.size() == 8u) << "keep-empty lost a child";
    const int fresh = nextFresh - 1;  // numbered before any child splits
    nextFresh += int(present.size()) - 1;
    for (std::size_t i = 0; i < present.size(); ++i) {
      OctreeIterator child = it;
      child.descend(present[i]);
      visit(child, level + 1, i == 0 ? leafNum : fresh + int(i));
    }
    EXPECT_LE(level, limit) << "split below the depth limit";
    EXPECT_TRUE(level == 1 || (nextRun - start > vertsPerLeaf && separable(start, nextRun)));
  }

  void run() {
    limit = int(std::ceil(2.0 * std::log(tree.numVertices()) / std::log(8.0)));
    leafSeen.assign(tree.numLeafNodes(), 0);
    visit(tree.getRoot(), 1, 0);
    EXPECT_EQ((std::vector<int>{nextRun, nodes, deepest, nextFresh}),
              (std::vector<int>{tree.numVertices(), tree.numNodes(), tree.maxDepth(),
                                tree.numLeafNodes()}));
    EXPECT_EQ(leafSeen, std::vector<int>(leafSeen.size(), 1)) << "leaf numbers not dense";
  }
};

// Uniform in [-1, 3); on a lattice of eighths (coincident points, points on mid-planes); flat
// in z; within eight float steps of 1 (splits reach single steps before the depth limit).
enum class Kind { kUniform, kGrid, kFlat, kTight };

std::vector<float> makePoints(Kind kind, int n, unsigned rngSeed) {
  std::mt19937 rng(rngSeed);
  std::uniform_real_distribution<float> unit(-1.0f, 3.0f);
  std::uniform_int_distribution<int> grid(0, 8);
  std::vector<float> xyz(3 * n);
  for (int i = 0; i < 3 * n; ++i)
    xyz[i] = kind == Kind::kUniform ? unit(rng)
             : kind == Kind::kGrid  ? grid(rng) / 8.0f
             : kind == Kind::kFlat  ? (i % 3 == 2 ? 0.5f : unit(rng))
                                    : 1.0f + grid(rng) * 1.2e-7f;
  return xyz;
}

TEST(OctreeTest, RandomCloudsMatchTheirDefinition) {
  std::printf("rngSeed = 1, 2, 3\n");
  for (unsigned rngSeed : {1u, 2u, 3u})
    for (Kind kind : {Kind::kUniform, Kind::kGrid, Kind::kFlat, Kind::kTight})
      for (int n : {1, 40, 3000})
        for (int vpl : {1, 8, 33})
          for (bool keepEmpty : {false, true}) {
            SCOPED_TRACE(::testing::Message() << "rngSeed, kind, n, vpl, keep " << rngSeed
                                              << int(kind) << n << ' ' << vpl << keepEmpty);
            std::vector<float> xyz = makePoints(kind, n, rngSeed);
            Octree tree(n, xyz.data(), boundsOf(xyz), keepEmpty, vpl);
            EXPECT_EQ(tree.getVertices(), xyz.data());
            Walker{tree, vpl, keepEmpty}.run();
          }
}

TEST(OctreeTest, DeepClusterMatchesItsDefinition) {
  // 70005 points give a depth limit of 11: a cluster 1e-5 wide in a box of width 4 is split down
  // to level 12, below the first ten levels the build codes at once. So many points also take
  // the eight-lane key loop where the processor has it, and its four- and one-lane tail.
  std::printf("rngSeed = 5\n");
  std::vector<float> xyz = makePoints(Kind::kUniform, 70005, 5);
  for (std::size_t i = 0; i < xyz.size(); i += 30)  // every tenth point into [0.3, 0.3 + 1e-5)
    for (std::size_t k = i; k < i + 3; ++k) xyz[k] = 0.3f + (xyz[k] + 1.0f) * 2.5e-6f;
  for (int vpl : {1, 8})
    for (bool keepEmpty : {false, true}) {
      SCOPED_TRACE(::testing::Message() << "vpl, keep " << vpl << ' ' << keepEmpty);
      Octree tree(70005, xyz.data(), boundsOf(xyz), keepEmpty, vpl);
      EXPECT_EQ(tree.maxDepth(), 12);
      Walker{tree, vpl, keepEmpty}.run();
    }
}

TEST(OctreeTest, CoincidentSmallAndThinInputsAndNodeOrdering) {
  // At (1, 2, 3) the widened box is too thin for float: it is flat, so even keep-empty makes
  // only the one occupied child. At the origin the box keeps its thickness and all 8 appear.
  for (float at : {1.0f, 0.0f})
    for (bool keepEmpty : {false, true}) {
      std::vector<float> xyz;
      for (int i = 0; i < 1000; ++i) xyz.insert(xyz.end(), {at, 2 * at, 3 * at});
      Octree tree(1000, xyz.data(), boundsOf(xyz), keepEmpty, 8);
      const bool eight = keepEmpty && at == 0.0f;
      EXPECT_EQ((std::vector<int>{tree.maxDepth(), tree.numNodes(), tree.numLeafNodes()}),
                (std::vector<int>{2, eight ? 9 : 2, eight ? 8 : 1}));
      OctreeIterator it = tree.getRoot();
      ASSERT_TRUE(it.descend(7));  // every point is on all three mid-planes: upper octant
      int first, end;
      it.getVertexRange(first, end);
      EXPECT_EQ(std::make_pair(end - first, it.getLeafNum()), std::make_pair(1000, eight ? 7 : 0));
    }

  std::vector<float> few = makePoints(Kind::kUniform, 8, 7);
  for (int n : {0, 8}) Walker{Octree(n, few.data(), boundsOf(few), true, 8), 8, true}.run();
  const float min[3] = {0, 0, 0}, max[3] = {4, 2, 0};
  const std::vector<float> xyz(3, 0.0f);
  BoundingBox root = Octree(1, xyz.data(), BoundingBox(min, max), false, 8).getRoot().getBox();
  const float half = 4.0f / 1000.0f * 0.5f, lo[3] = {0, 0, -half}, hi[3] = {4, 2, half};
  EXPECT_EQ(root, BoundingBox(lo, hi));
  // A point-like box: 1000 points give a depth limit of 7, so the extent becomes 2^8 FLT_MIN.
  const std::vector<float> many(3000, 0.0f);
  root = Octree(1000, many.data(), BoundingBox(), false, 8).getRoot().getBox();
  const float tiny = 256.0f * 1.1754944e-38f;
  EXPECT_EQ(root.maxPt(), krLinear::PointFlt(tiny * 0.5f, tiny * 0.5f, tiny * 0.5f));

  std::vector<int> order(8);  // corners sorted by dot product
  Octree::getNodeOrdering(krLinear::Vector(1, 1, 0), order.data());
  EXPECT_EQ(order, (std::vector<int>{0, 4, 1, 2, 5, 6, 3, 7}));  // ties keep octant order
  Octree::getNodeOrdering(krLinear::Vector(-1, -2, -4), order.data());
  EXPECT_EQ(order, (std::vector<int>{7, 6, 5, 4, 3, 2, 1, 0}));
}

TEST(OctreeTest, SizeCopiesAndTimingLine) {
  // One point near each corner of the box: 100 points, a root and eight leaves.
  std::vector<float> xyz;
  for (int i = 0; i < 100; ++i)
    for (int k = 0; k < 3; ++k) xyz.push_back((i >> k & 1) ? 0.9f : 0.1f);
  std::string text;
  debugChannel().setSink([&](std::string_view s) { text += s; });
  debugChannel().enable(true);
  kr::Reference<Octree> tree(new Octree(100, xyz.data(), boundsOf(xyz), false, 16));
  debugChannel().enable(false);
  debugChannel().setSink({});
  EXPECT_EQ(tree->numBytesUsed(), 1152);
  EXPECT_TRUE(std::regex_match(text, std::regex("Octree: vertices\\(100\\) vertsPerLeaf\\(16\\) "
                                                "numNodes\\(9\\)\n        maxDepth\\(2\\): "
                                                "[0-9]+\\.[0-9]{6} s\n")))
      << text;

  // The copy shares the nodes and the remap and keeps them when the source goes.
  Octree copy(*tree);
  const int* remap = tree->getRemap();
  tree.reset();
  EXPECT_EQ(copy.getRemap(), remap);
  Walker{copy, 16, false}.run();
}

}  // namespace
}  // namespace krGeom
