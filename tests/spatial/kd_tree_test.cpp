#include <geom/spatial/kd_tree.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace {

using krGeom::KDTree;

// A literal recursive tree used as the oracle for result order.
struct RefTree {
  struct Node {
    int index;
    std::unique_ptr<Node> low, high;
  };
  const float* pts;
  std::unique_ptr<Node> root;

  explicit RefTree(const float* p) : pts(p) {}

  void insert(int i) {
    std::unique_ptr<Node>* slot = &root;
    for (int axis = 0; *slot; axis = (axis + 1) % 3)
      slot = pts[3 * (*slot)->index + axis] > pts[3 * i + axis] ? &(*slot)->low : &(*slot)->high;
    *slot = std::make_unique<Node>(Node{i, nullptr, nullptr});
  }

  void all(const Node* n, int axis, const float* box, std::vector<int>& out) const {
    if (!n) return;
    const float* p = pts + 3 * n->index;
    bool in = true;
    for (int k = 0; k < 3; ++k) in = in && box[k] <= p[k] && p[k] <= box[3 + k];
    if (in) out.push_back(n->index);
    if (p[axis] >= box[axis]) all(n->low.get(), (axis + 1) % 3, box, out);
    if (box[3 + axis] >= p[axis]) all(n->high.get(), (axis + 1) % 3, box, out);
  }
};

std::vector<int> linearScan(const std::vector<float>& pts, const float* box) {
  std::vector<int> out;
  for (int i = 0; i < static_cast<int>(pts.size() / 3); ++i) {
    bool in = true;
    for (int k = 0; k < 3; ++k) in = in && box[k] <= pts[3 * i + k] && pts[3 * i + k] <= box[3 + k];
    if (in) out.push_back(i);
  }
  return out;
}

TEST(KDTree, EmptyTreeFindsNothingAndLeavesResultAlone) {
  KDTree tree(4);
  const float pts[3] = {0, 0, 0};
  const float box[6] = {-1, -1, -1, 1, 1, 1};
  EXPECT_EQ(tree.search(pts, box), -1);
  std::vector<int> result{7, 8};
  tree.searchAll(pts, box, result);
  EXPECT_EQ(result, (std::vector<int>{7, 8}));
  EXPECT_EQ(tree.size(), 0);
  EXPECT_EQ(tree.capacity(), 4);
  KDTree none(0);
  EXPECT_EQ(none.search(pts, box), -1);
}

TEST(KDTree, EqualCoordinatesGoHighAndResultsComeInPreOrder) {
  // Point 1 has the root's x and goes high; point 2 is below it in x and goes low. Pre-order
  // is root, low, high.
  const float pts[] = {1, 0, 0, /**/ 1, 5, 0, /**/ 0, 5, 0, /**/ 9, 9, 9};
  KDTree tree(4);
  for (int i = 0; i < 3; ++i) tree.insert(pts, i);
  EXPECT_EQ(tree.size(), 3);
  const float all[6] = {0, 0, 0, 1, 5, 0};  // every point on a face of the box
  std::vector<int> result{42};
  tree.searchAll(pts, all, result);
  EXPECT_EQ(result, (std::vector<int>{42, 0, 2, 1}));
  const float upper[6] = {0, 5, 0, 1, 5, 0};
  EXPECT_EQ(tree.search(pts, upper), 2);
  const float onlyHigh[6] = {1, 1, -1, 2, 6, 1};
  EXPECT_EQ(tree.search(pts, onlyHigh), 1);
  const float nothing[6] = {2, 2, 2, 3, 3, 3};
  EXPECT_EQ(tree.search(pts, nothing), -1);
}

TEST(KDTree, DeepLowPathsKeepPreOrder) {
  // p_k = (-k, -k, -k) chains down the low sides; q_k = p_k + 0.5 becomes p_k's high child. A
  // full search holds every q_k pending at once (deeper than any small fixed stack).
  const int k = 300;
  std::vector<float> pts;
  for (int i = 0; i < k; ++i) pts.insert(pts.end(), {-1.f * i, -1.f * i, -1.f * i});
  for (int i = 0; i < k; ++i) pts.insert(pts.end(), {0.5f - i, 0.5f - i, 0.5f - i});
  KDTree tree(2 * k);
  for (int i = 0; i < 2 * k; ++i) tree.insert(pts.data(), i);
  const float box[6] = {-1e9f, -1e9f, -1e9f, 1e9f, 1e9f, 1e9f};
  std::vector<int> result;
  tree.searchAll(pts.data(), box, result);
  std::vector<int> expected;
  for (int i = 0; i < k; ++i) expected.push_back(i);
  for (int i = k - 1; i >= 0; --i) expected.push_back(k + i);
  EXPECT_EQ(result, expected);
}

TEST(KDTree, SearchesMatchLinearScanAndLiteralOrder) {
  const std::uint32_t rngSeed = 77031;
  SCOPED_TRACE(testing::Message() << "rngSeed " << rngSeed);
  std::mt19937 rng(rngSeed);
  std::uniform_real_distribution<float> unit(0.f, 1.f);
  const int n = 4000;
  for (int kind = 0; kind < 3; ++kind) {
    SCOPED_TRACE(kind);
    std::vector<float> pts(3 * n);
    for (int i = 0; i < n; ++i) {
      for (int k = 0; k < 3; ++k) pts[3 * i + k] = unit(rng);
      if (kind == 1) {  // a coarse grid: many equal coordinates and points on box faces
        for (int k = 0; k < 3; ++k) pts[3 * i + k] = std::floor(pts[3 * i + k] * 8.f) / 8.f;
      }
    }
    std::vector<int> order(n);
    for (int i = 0; i < n; ++i) order[i] = i;
    if (kind == 2) {  // scan order: by y, then x
      std::sort(order.begin(), order.end(), [&](int a, int b) {
        return pts[3 * a + 1] != pts[3 * b + 1] ? pts[3 * a + 1] < pts[3 * b + 1]
                                                : pts[3 * a] < pts[3 * b];
      });
    }
    KDTree tree(n);
    RefTree ref(pts.data());
    for (int i : order) {
      tree.insert(pts.data(), i);
      ref.insert(i);
    }
    for (int b = 0; b < 300; ++b) {
      float box[6];
      for (int k = 0; k < 3; ++k) {
        float lo = unit(rng), size = unit(rng) * (b % 3 == 0 ? 0.05f : 0.4f);
        if (kind == 1) lo = std::floor(lo * 8.f) / 8.f, size = std::floor(size * 8.f) / 8.f;
        box[k] = lo;
        box[3 + k] = b % 50 == 49 ? lo - 0.01f : lo + size;  // some inverted, empty boxes
      }
      std::vector<int> found{-5};
      tree.searchAll(pts.data(), box, found);
      std::vector<int> expected{-5};
      ref.all(ref.root.get(), 0, box, expected);
      ASSERT_EQ(found, expected) << "box " << b;
      std::vector<int> sorted(found.begin() + 1, found.end());
      std::sort(sorted.begin(), sorted.end());
      ASSERT_EQ(sorted, linearScan(pts, box)) << "box " << b;
      EXPECT_EQ(tree.search(pts.data(), box), found.size() > 1 ? found[1] : -1);
    }
  }
}

TEST(KDTree, InterleavedInsertsAndSearchesMatchLiteralOrder) {
  // Alternating inserts and searches, with bursts of searches, search both the stale tree and
  // the rebuilt search cache at every size from one point up. Coordinates on a coarse grid
  // make many ties with the splits.
  const std::uint32_t rngSeed = 5501;
  SCOPED_TRACE(testing::Message() << "rngSeed " << rngSeed);
  std::mt19937 rng(rngSeed);
  std::uniform_int_distribution<int> cell(0, 15);
  const int n = 1500;
  std::vector<float> pts(3 * n);
  for (float& v : pts) v = cell(rng) / 16.f;
  KDTree tree(n);
  RefTree ref(pts.data());
  for (int i = 0; i < n; ++i) {
    tree.insert(pts.data(), i);
    ref.insert(i);
    const int searches = i % 97 == 0 ? 400 : 1;
    for (int s = 0; s < searches; ++s) {
      float box[6];
      for (int k = 0; k < 3; ++k) {
        box[k] = cell(rng) / 16.f;
        box[3 + k] = box[k] + cell(rng) / 64.f;
      }
      std::vector<int> found, expected;
      tree.searchAll(pts.data(), box, found);
      ref.all(ref.root.get(), 0, box, expected);
      ASSERT_EQ(found, expected) << "after " << i + 1 << " points, search " << s;
      ASSERT_EQ(tree.search(pts.data(), box), expected.empty() ? -1 : expected[0]);
    }
  }
}

TEST(KDTree, NaNCoordinatesPruneLikeTheLiteralWalk) {
  // A NaN coordinate on a node's split axis fails both comparisons: its subtrees are never
  // searched, and points inserted below it all go high.
  const float nan = std::nanf("");
  std::vector<float> pts;
  const std::uint32_t rngSeed = 9113;
  SCOPED_TRACE(testing::Message() << "rngSeed " << rngSeed);
  std::mt19937 rng(rngSeed);
  std::uniform_real_distribution<float> unit(0.f, 1.f);
  const int n = 300;
  for (int i = 0; i < n; ++i)
    for (int k = 0; k < 3; ++k) pts.push_back(i % 37 == 5 && k == i % 3 ? nan : unit(rng));
  KDTree tree(n);
  RefTree ref(pts.data());
  for (int i = 0; i < n; ++i) tree.insert(pts.data(), i), ref.insert(i);
  const float part[6] = {0, 0, 0, 0.3f, 0.3f, 0.3f}, whole[6] = {0, 0, 0, 1, 1, 1};
  for (const float* box : {part, whole}) {
    std::vector<int> found, expected;
    tree.searchAll(pts.data(), box, found);
    ref.all(ref.root.get(), 0, box, expected);
    EXPECT_EQ(found, expected);
  }
  // Pruning below NaN nodes hides some of the points inside.
  std::vector<int> found;
  tree.searchAll(pts.data(), whole, found);
  EXPECT_LT(found.size(), linearScan(pts, whole).size());
}

}  // namespace
