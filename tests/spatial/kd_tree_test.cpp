#include <geom/spatial/kd_tree.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

namespace {

using krGeom::KDTree;

std::vector<int> upTo(int n) {
  std::vector<int> order(n);
  std::iota(order.begin(), order.end(), 0);
  return order;
}

bool inBox(const float* p, const float* box) {
  bool in = true;
  for (int k = 0; k < 3; ++k) in = in && box[k] <= p[k] && p[k] <= box[3 + k];
  return in;
}

// The tree under test beside a literal recursive tree, the oracle for result order.
struct Both {
  struct Node {
    int index;
    std::unique_ptr<Node> low, high;
  };
  std::vector<float> pts;
  KDTree tree;
  std::unique_ptr<Node> root;

  Both(std::vector<float> p, std::vector<int> order)
      : pts(std::move(p)), tree(int(pts.size() / 3)) {
    for (int i : order) add(i);
  }

  void add(int i) {
    tree.insert(pts.data(), i);
    std::unique_ptr<Node>* slot = &root;
    for (int axis = 0; *slot; axis = (axis + 1) % 3)
      slot = pts[3 * (*slot)->index + axis] > pts[3 * i + axis] ? &(*slot)->low : &(*slot)->high;
    *slot = std::make_unique<Node>(Node{i, nullptr, nullptr});
  }

  void all(const Node* n, int axis, const float* box, std::vector<int>& out) const {
    if (!n) return;
    const float* p = &pts[3 * n->index];
    if (inBox(p, box)) out.push_back(n->index);
    if (p[axis] >= box[axis]) all(n->low.get(), (axis + 1) % 3, box, out);
    if (box[3 + axis] >= p[axis]) all(n->high.get(), (axis + 1) % 3, box, out);
  }

  // searchAll appends exactly the oracle's pre-order list; search returns its first entry.
  // Returns the sorted result.
  std::vector<int> expectSame(const float* box) const {
    std::vector<int> found{-5}, expected{-5};
    tree.searchAll(pts.data(), box, found);
    all(root.get(), 0, box, expected);
    EXPECT_EQ(found, expected);
    EXPECT_EQ(tree.search(pts.data(), box), expected.size() > 1 ? expected[1] : -1);
    std::sort(found.begin() + 1, found.end());
    return {found.begin() + 1, found.end()};
  }

  std::vector<int> linearScan(const float* box) const {
    std::vector<int> out = upTo(int(pts.size() / 3));
    std::erase_if(out, [&](int i) { return !inBox(&pts[3 * i], box); });
    return out;
  }
};

TEST(KDTree, EqualCoordinatesGoHighDeepPathsKeepPreOrderAndNaNsPrune) {
  // Point 1 has the root's x and goes high; point 2 is below it in x and goes low. Pre-order
  // is root, low, high. Every point is on a face of `all`.
  Both both({1, 0, 0, /**/ 1, 5, 0, /**/ 0, 5, 0}, {});
  const float all[6] = {0, 0, 0, 1, 5, 0}, onlyHigh[6] = {1, 1, -1, 2, 6, 1};
  EXPECT_TRUE(both.expectSame(all).empty());  // the empty tree appends nothing and gives -1
  for (int i = 0; i < 3; ++i) both.add(i);
  std::vector<int> result{42};
  both.tree.searchAll(both.pts.data(), all, result);
  EXPECT_EQ(result, (std::vector<int>{42, 0, 2, 1}));
  EXPECT_EQ(both.tree.search(both.pts.data(), onlyHigh), 1);

  // p_k = (-k, -k, -k) chains down the low sides; q_k = p_k + 0.5 becomes p_k's high child. A
  // full search holds every q_k pending at once (deeper than any small fixed stack).
  std::vector<float> deep(6 * 300);
  for (int i = 0; i < 900; ++i) deep[i] = -float(i / 3), deep[900 + i] = 0.5f - float(i / 3);
  const float huge[6] = {-1e9f, -1e9f, -1e9f, 1e9f, 1e9f, 1e9f};
  EXPECT_EQ(Both(deep, upTo(600)).expectSame(huge).size(), 600u);

  // A NaN coordinate on a node's split axis fails both comparisons: its subtrees are never
  // searched, and points inserted below it all go high.
  const std::uint32_t rngSeed = 9113;
  SCOPED_TRACE(testing::Message() << "rngSeed " << rngSeed);
  std::mt19937 rng(rngSeed);
  std::uniform_real_distribution<float> unit(0.f, 1.f);
  std::vector<float> pts(3 * 300);
  for (int i = 0; i < 3 * 300; ++i)
    pts[i] = (i / 3) % 37 == 5 && i % 3 == (i / 3) % 3 ? std::nanf("") : unit(rng);
  const Both withNaN(pts, upTo(300));
  const float whole[6] = {0, 0, 0, 1, 1, 1};
  // Pruning below NaN nodes hides some of the points inside.
  EXPECT_LT(withNaN.expectSame(whole).size(), withNaN.linearScan(whole).size());
}

TEST(KDTree, SearchesMatchLinearScanAndLiteralOrder) {
  const std::uint32_t rngSeed = 77031;
  SCOPED_TRACE(testing::Message() << "rngSeed " << rngSeed);
  std::mt19937 rng(rngSeed);
  std::uniform_real_distribution<float> unit(0.f, 1.f);
  // Uniform; a coarse grid (equal coordinates, points on box faces); uniform in scan order.
  for (int kind = 0; kind < 3; ++kind) {
    SCOPED_TRACE(kind);
    auto snap = [&](float v) { return kind == 1 ? std::floor(v * 8.f) / 8.f : v; };
    std::vector<float> pts(3 * 4000);
    for (float& v : pts) v = snap(unit(rng));
    std::vector<int> order = upTo(4000);
    if (kind == 2)  // scan order: by y, then index
      std::stable_sort(order.begin(), order.end(),
                       [&](int a, int b) { return pts[3 * a + 1] < pts[3 * b + 1]; });
    const Both both(pts, order);
    for (int b = 0; b < 300; ++b) {
      float box[6];
      for (int k = 0; k < 3; ++k)  // small, large and some inverted (empty) boxes
        box[k] = snap(unit(rng)),
        box[3 + k] = box[k] + snap(unit(rng) * (b % 3 ? 0.4f : 0.05f)) - (b % 50 == 49 ? 1 : 0);
      ASSERT_EQ(both.expectSame(box), both.linearScan(box)) << "box " << b;
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
  std::vector<float> pts(3 * 1500);
  for (float& v : pts) v = cell(rng) / 16.f;
  Both both(pts, {});
  for (int i = 0; i < 1500; ++i) {
    both.add(i);
    for (int s = 0; s < (i % 97 == 0 ? 400 : 1); ++s) {
      float box[6];
      for (int k = 0; k < 3; ++k) box[k] = cell(rng) / 16.f, box[3 + k] = box[k] + cell(rng) / 64.f;
      SCOPED_TRACE(testing::Message() << "after " << i + 1 << " points, search " << s);
      both.expectSame(box);
    }
  }
}

}  // namespace
