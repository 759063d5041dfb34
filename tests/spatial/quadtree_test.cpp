#include <geom/spatial/quadtree.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <tuple>
#include <vector>

namespace {

using krGeom::BoundingBox;
using krGeom::Quadtree;
using krGeom::QuadtreeIterator;

BoundingBox box2(float x0, float y0, float x1, float y1, float z0 = 0.f, float z1 = 0.f) {
  const float lo[3] = {x0, y0, z0}, hi[3] = {x1, y1, z1};
  return BoundingBox(lo, hi);
}

// The literal recursive build with the header's stops, in any box: a run of more than 300
// points is stably sorted by quadrant code (x >= the centre line gives 1, y >= it gives 2), and
// each child of more than 300 points is split in turn, starting from the depth its earlier
// siblings reached, unless its points are all equal or its sub-box equals its parent's box in x
// and y (NaN bounds counting equal). Records the tree in preorder: -1 for an inner node, else
// the leaf's run.
struct LiteralWithStops {
  const float* v;
  std::vector<int> remap, shape;
  int numNodes = 1, maxDepth = 1;

  LiteralWithStops(int n, const float* pts, const BoundingBox& box) : v(pts), remap(n) {
    for (int i = 0; i < n; ++i) remap[i] = i;
    float lo[3], hi[3];
    box.minPt(lo);
    box.maxPt(hi);
    if (n > 300)
      maxDepth = split(0, n, lo[0], lo[1], hi[0], hi[1], 2);
    else
      shape = {0, n};
  }

  static bool same(float a, float b) { return a == b || (a != a && b != b); }

  int split(int first, int end, float x0, float y0, float x1, float y1, int depth) {
    shape.push_back(-1);
    const float cx = (x0 + x1) * 0.5f, cy = (y0 + y1) * 0.5f;
    auto code = [&](int p) { return (v[2 * p] >= cx ? 1 : 0) + (v[2 * p + 1] >= cy ? 2 : 0); };
    std::stable_sort(remap.begin() + first, remap.begin() + end,
                     [&](int a, int b) { return code(a) < code(b); });
    numNodes += 4;
    int d = depth;
    for (int q = 0, start = first, stop = first; q < 4; ++q, start = stop) {
      while (stop < end && code(remap[stop]) == q) ++stop;
      const float sx0 = q & 1 ? cx : x0, sy0 = q & 2 ? cy : y0, sx1 = q & 1 ? x1 : cx,
                  sy1 = q & 2 ? y1 : cy;
      bool equal = true;
      for (int i = start; i < stop; ++i)
        equal = equal && v[2 * remap[i]] == v[2 * remap[start]] &&
                v[2 * remap[i] + 1] == v[2 * remap[start] + 1];
      const bool stuck = same(sx0, x0) && same(sy0, y0) && same(sx1, x1) && same(sy1, y1);
      if (stop - start > 300 && !equal && !stuck)
        d = std::max(d, split(start, stop, sx0, sy0, sx1, sy1, d + 1));
      else
        shape.insert(shape.end(), {start, stop});
    }
    return d;
  }
};

// The tree in the same preorder form.
void shapeOf(const QuadtreeIterator& it, std::vector<int>& shape) {
  if (it.isLeaf()) {
    int first, end;
    it.getVertexRange(first, end);
    shape.insert(shape.end(), {first, end});
    return;
  }
  shape.push_back(-1);
  for (int q = 0; q < 4; ++q) {
    QuadtreeIterator child = it;
    child.descend(q);
    shapeOf(child, shape);
  }
}

// Walks the whole tree: every point of every leaf takes, at each node above, the quadrant of that
// node's centre lines; leaf runs are consecutive, stable and cover every point once. Returns the
// largest leaf.
int walk(const Quadtree& tree) {
  int nodes = 0, nextFirst = 0, largest = 0;
  std::vector<std::pair<krLinear::PointFlt, int>> path;  // centre and quadrant above the leaf
  auto visit = [&](auto& self, const QuadtreeIterator& it) -> void {
    ++nodes;
    if (it.isLeaf()) {
      int first, end;
      it.getVertexRange(first, end);
      EXPECT_EQ(first, nextFirst);
      nextFirst = end;
      largest = std::max(largest, end - first);
      for (int i = first; i < end; ++i) {
        const int p = tree.getRemap()[i];
        const float* v = tree.getVertices();
        for (const auto& [c, q] : path)
          ASSERT_EQ((v[2 * p] >= c.x() ? 1 : 0) + (v[2 * p + 1] >= c.y() ? 2 : 0), q) << p;
        EXPECT_TRUE(i == first || tree.getRemap()[i - 1] < p) << "leaf order is not stable";
      }
      return;
    }
    const krLinear::PointFlt c = it.getBox().center();
    for (int q = 0; q < 4; ++q) {
      QuadtreeIterator child = it;
      ASSERT_TRUE(child.descend(q));
      path.push_back({c, q});
      self(self, child);
      path.pop_back();
    }
  };
  visit(visit, tree.getRoot());
  std::vector<int> remap(tree.getRemap(), tree.getRemap() + tree.numVertices());
  std::sort(remap.begin(), remap.end());
  for (int i = 0; i < tree.numVertices(); ++i) EXPECT_EQ(remap[i], i) << "not a permutation";
  EXPECT_EQ(std::make_pair(nodes, nextFirst), std::make_pair(tree.numNodes(), tree.numVertices()));
  return largest;
}

TEST(Quadtree, SmallInputsSubBoxesAndTheInheritedDepth) {
  std::vector<float> xy(602, 0.25f);
  for (int n : {0, 300}) EXPECT_EQ(walk(Quadtree(n, xy.data(), box2(0, 0, 1, 1))), n);
  // One more point splits the root; sub-boxes halve x and y and have z 0.
  Quadtree tree(301, xy.data(), box2(0, 0, 1, 1, -3, 3));
  QuadtreeIterator it = tree.getRoot();
  EXPECT_TRUE(it.descend(1) && it.getBox() == box2(0.5f, 0, 1, 0.5f));
  EXPECT_EQ(std::make_pair(tree.numNodes(), tree.maxDepth()), std::make_pair(5, 2));

  // Quadrant 0 splits twice (its points all in [0, 0.25)^2, spread over that square), so its
  // subtree returns 4; quadrant 1 then splits with 5 passed in, although only 4 levels exist.
  std::vector<float> two;
  for (int i = 0; i < 800; ++i) {
    const float step = i < 400 ? 0.2f / 20.f : 0.45f / 20.f, x0 = i < 400 ? 0.01f : 0.51f;
    two.insert(two.end(), {x0 + step * (i % 20), 0.01f + step * (i % 400 / 20)});
  }
  Quadtree deep(800, two.data(), box2(0, 0, 1, 1));
  EXPECT_EQ(std::make_pair(deep.numNodes(), deep.maxDepth()), std::make_pair(1 + 4 * 4, 5));
  EXPECT_EQ(LiteralWithStops(800, two.data(), box2(0, 0, 1, 1)).maxDepth, 5);
}

TEST(Quadtree, BuildsThatWouldNeverEndStop) {
  const float nan = std::nanf(""), next = std::nextafter(1.f, 2.f);
  // 400 coincident points; coincident points among others; distinct points outside the box;
  // NaN points; points one float step apart.
  std::vector<std::vector<float>> clouds(5);
  for (int i = 0; i < 1000; ++i) {
    clouds[1].insert(clouds[1].end(), {i % 3 ? 0.123f : i / 1000.f, 0.456f});
    if (i >= 400) continue;
    clouds[0].insert(clouds[0].end(), {0.3f, 0.7f});
    clouds[2].insert(clouds[2].end(), {2.f + i / 400.f, 3.f - i / 400.f});
    clouds[3].insert(clouds[3].end(), {nan, nan});
    clouds[4].insert(clouds[4].end(), {i % 2 ? 1.f : next, 1.f});
  }
  for (std::size_t c = 0; c < clouds.size(); ++c) {
    SCOPED_TRACE(c);
    Quadtree tree(int(clouds[c].size() / 2), clouds[c].data(), box2(0, 0, 1, 1));
    EXPECT_TRUE(c > 0 || tree.numNodes() == 5) << "coincident points split once";
    walk(tree);
  }
}

TEST(Quadtree, MatchesTheLiteralBuildWithStopsOnAwkwardClouds) {
  const unsigned rngStart = 20261125;
  std::printf("rngStart = %u\n", rngStart);
  std::mt19937 rng(rngStart);
  std::uniform_real_distribution<float> unit(0.f, 1.f);
  std::normal_distribution<float> blob(0.f, 1.f);
  const float nan = std::nanf(""), inf = INFINITY;
  struct Case {
    const char* name;
    int n;
    BoundingBox box;
  };
  const Case cases[] = {
      {"uniform", 30000, box2(0, 0, 1, 1)},
      {"clustered, some deeper than one key", 40000, box2(0, 0, 1, 1)},
      {"grid: points on centre lines, duplicates", 20000, box2(0, 0, 1, 1)},
      {"runs of more than 300 equal points", 5000, box2(0, 0, 1, 1)},
      {"box a few float steps wide", 3000,
       box2(1, 1, std::nextafter(std::nextafter(1.f, 2.f), 2.f), 1.5f)},
      {"NaN coordinates", 4000, box2(0, 0, 1, 1)},
      {"NaN box", 2000, box2(nan, 0, 1, nan)},
      {"flat box, points outside it, infinities", 6000, box2(0.25f, 0.5f, 0.75f, 0.5f)},
      {"inverted box", 3000, box2(1, 1, 0, 0)},
      {"huge box (halving overflows)", 3000, box2(-3e38f, -3e38f, 3e38f, 3e38f)},
      {"dense blobs: runs of thousands below the keys and past a chain", 24000, box2(0, 0, 1, 1)},
      {"large and mixed: NaN, outside, infinite, on edges, dense", 70005, box2(0, 0, 1, 1)},
  };
  for (std::size_t c = 0; c < std::size(cases); ++c) {
    const Case& k = cases[c];
    SCOPED_TRACE(k.name);
    std::vector<float> xy(2 * k.n);
    for (int i = 0; i < k.n; ++i) {
      float& x = xy[2 * i];
      float& y = xy[2 * i + 1];
      x = unit(rng), y = unit(rng);
      if (c == 1) {  // blobs of three widths, the narrowest needing more than 16 levels
        const float sigma = i % 3 == 0 ? 1e-2f : i % 3 == 1 ? 1e-4f : 3e-7f;
        x = 0.3f + 0.1f * (i % 5) + sigma * blob(rng), y = 0.6f + sigma * blob(rng);
      } else if (c == 2) {
        x = (i % 64) / 64.f, y = (i / 64 % 64) / 64.f;
      } else if (c == 3) {
        if (i % 7 < 5) x = 0.125f * (i % 3), y = 0.5f;
      } else if (c == 4) {
        x = std::nextafter(1.f, 2.f * (i % 3)), y = 1 + 0.5f * unit(rng);
      } else if (c == 5) {
        if (i % 4 == 0) x = nan;
        if (i % 3 == 0) y = nan;
      } else if (c == 7) {
        x = 2 * x - 0.5f, y = i % 2 ? 0.5f : 2 * y - 0.5f;
        if (i % 100 == 0) x = i % 200 ? inf : -inf;
        if (i % 150 == 1) y = i % 300 == 1 ? inf : -inf;
      } else if (c == 9) {
        x = 3e38f * (2 * x - 1), y = i % 3 ? 3e38f : -3e38f;
      } else if (c == 11) {
        const int kind = i % 8;
        if (kind == 4) x = nan;
        if (kind == 5) y = i % 16 == 5 ? inf : 1.5f * y - 0.25f;
        if (kind == 6) x = (i % 64) / 64.f;
        if (kind == 7) x = 0.61f + 1e-6f * blob(rng), y = 0.29f + 1e-6f * blob(rng);
      } else if (c == 10 && i % 4 != 0) {
        const bool narrow = i % 4 > 1;
        const float sigma = narrow ? 1e-6f : 2e-5f;
        x = (narrow ? 0.81f : 0.37f) + sigma * blob(rng),
        y = (narrow ? 0.23f : 0.61f) + sigma * blob(rng);
      }
    }
    Quadtree tree(k.n, xy.data(), k.box);
    const LiteralWithStops ref(k.n, xy.data(), k.box);
    std::vector<int> shape;
    shapeOf(tree.getRoot(), shape);
    EXPECT_EQ(shape, ref.shape);
    EXPECT_EQ(std::vector<int>(tree.getRemap(), tree.getRemap() + k.n), ref.remap);
    EXPECT_EQ(std::make_pair(tree.numNodes(), tree.maxDepth()),
              std::make_pair(ref.numNodes, ref.maxDepth));
  }
}

// More than 4M points: the first split writes its runs through line buffers straight to memory.
TEST(Quadtree, AVeryLargeCloudKeepsEveryRule) {
  const int n = (1 << 22) + 1003;
  std::vector<float> xy(2 * static_cast<std::size_t>(n));
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> unit(0.f, 1.f);
  for (float& c : xy) c = unit(rng);
  const Quadtree tree(n, xy.data(), box2(0, 0, 1, 1));
  EXPECT_LE(walk(tree), 300);
  // As the literal build gives.
  EXPECT_EQ(std::make_pair(tree.numNodes(), tree.maxDepth()), std::make_pair(22065, 5517));
  // The same points squeezed into [0, 1/16)^2 beside 1000 spread ones: a later split sorts the
  // large run of one node.
  for (int i = 1000; i < n; ++i) xy[2 * i] /= 16, xy[2 * i + 1] /= 16;
  const Quadtree squeezed(n, xy.data(), box2(0, 0, 1, 1));
  EXPECT_LE(walk(squeezed), 300);
  EXPECT_EQ(std::make_pair(squeezed.numNodes(), squeezed.maxDepth()), std::make_pair(22081, 5521));
}

TEST(Quadtree, CopiesShareNodesAndOutliveTheirSourceAndNodeOrdering) {
  std::vector<float> xy(2 * 2000);
  for (int i = 0; i < 2000; ++i) xy[2 * i] = (i % 50) / 50.f, xy[2 * i + 1] = (i / 50) / 40.f;
  std::vector<float> other(20, 0.5f);
  Quadtree target(10, other.data(), box2(0, 0, 1, 1));
  {
    Quadtree source(2000, xy.data(), box2(0, 0, 1, 1));
    target = source;  // releases target's own nodes
    EXPECT_EQ(target.getRoot().getNode(), source.getRoot().getNode());
    const Quadtree& alias = target;
    target = alias;
  }
  EXPECT_EQ(walk(target), 130);

  std::vector<int> order(4);  // quadrants sorted by corner direction, ties in quadrant order
  Quadtree::getNodeOrdering(krLinear::Vector(1, 0, 0), order.data());
  EXPECT_EQ(order, (std::vector<int>{0, 2, 1, 3}));
}

}  // namespace
