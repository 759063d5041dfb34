// The cell tables behind the octree's and the quadtree's keys, against the halving they stand
// for: a coordinate's cell is its path of "x >= the middle goes up" choices from the box down.
#include "axis_cells.h"
#include "octree_keys.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace krGeom {
namespace {

std::uint32_t halvingPath(float lo, float hi, int levels, float x) {
  std::uint32_t cell = 0;
  for (int k = 0; k < levels; ++k) {
    const float mid = (lo + hi) * 0.5f;
    const bool up = x >= mid;
    cell = 2 * cell + (up ? 1 : 0);
    (up ? lo : hi) = mid;
  }
  return cell;
}

// Every edge and its float neighbours, points outside, infinities, NaN, and random points.
std::vector<float> awkwardCoordinates(float lo, float hi, int levels, std::mt19937& rng) {
  const float inf = std::numeric_limits<float>::infinity();
  std::vector<float> xs = {-inf, inf, std::nanf(""), lo - 1.0f, hi + 1.0f, -0.0f, 0.0f};
  std::vector<float> edges(std::size_t{1} << levels | 1);
  edges.front() = lo, edges.back() = hi;
  for (std::size_t step = edges.size() - 1; step > 1; step /= 2)
    for (std::size_t l = 0; l + step < edges.size(); l += step)
      edges[l + step / 2] = (edges[l] + edges[l + step]) * 0.5f;
  for (float e : edges) xs.insert(xs.end(), {e, std::nextafter(e, -inf), std::nextafter(e, inf)});
  std::uniform_real_distribution<float> inside(lo, hi);
  for (int i = 0; i < 200 && std::isfinite(hi - lo); ++i) xs.push_back(inside(rng));
  return xs;
}

#if KRGEOM_SPATIAL_AVX2
// cellOf8 on x[0] ... x[7]; the processor must have AVX2.
__attribute__((target("avx2"))) void cellsOf8(const AxisCells& axis, const float* x,
                                              std::uint32_t* cells) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(cells), axis.cellOf8(_mm256_loadu_ps(x)));
}
#endif

TEST(CellKeys, CellsAndKeysFollowTheHalvingOnAwkwardBoxesAndCoordinates) {
  const unsigned rngStart = 7;
  std::printf("rngStart = %u\n", rngStart);
  std::mt19937 rng(rngStart);
  const float tiny = std::nextafter(1.0f, 2.0f);
  const float big = std::numeric_limits<float>::max();
  struct Box {
    float lo, hi;
  };
  for (const Box box : {Box{0, 1}, Box{-1, 3}, Box{1, tiny}, Box{1, std::nextafter(tiny, 2.0f)},
                        Box{-big, big}, Box{0.5f, 0.5f}, Box{1e-30f, 3e-30f}})
    for (int levels = 1; levels <= octreeKeys::kKeyLevels; ++levels) {
      SCOPED_TRACE(::testing::Message() << box.lo << ' ' << box.hi << ' ' << levels);
      std::vector<float> edges((std::size_t{1} << levels) + 1);
      AxisCells cells;
      cells.init(box.lo, box.hi, levels, edges.data());
      const std::vector<float> xs = awkwardCoordinates(box.lo, box.hi, levels, rng);
      for (float x : xs) {
        ASSERT_EQ(cells.cellOf(x), halvingPath(box.lo, box.hi, levels, x)) << x;
        ASSERT_EQ(cells.cellByTable(x), halvingPath(box.lo, box.hi, levels, x)) << x;
      }
      // Four points at a time give the keys one point at a time gives, in every lane.
      octreeKeys::BoxCells three;
      const float lo3[3] = {box.lo, box.lo, box.lo}, hi3[3] = {box.hi, box.hi, box.hi};
      three.init(lo3, hi3, levels);
      std::uniform_int_distribution<std::size_t> pick(0, xs.size() - 1);
      for (int round = 0; round < 200; ++round) {
        float p[12];
        for (float& c : p) c = xs[pick(rng)];
        std::uint32_t keys[4];
        three.keysOf4(p, keys);
        for (int l = 0; l < 4; ++l) ASSERT_EQ(keys[l], three.keyOf(p + 3 * l)) << l;
      }
#if KRGEOM_SPATIAL_AVX2
      // Eight lanes at a time, where the processor has them, give the cells and keys of one at a
      // time.
      if (__builtin_cpu_supports("avx2"))
        for (int round = 0; round < 200; ++round) {
          float x[8];
          std::uint32_t got[8];
          for (float& c : x) c = xs[pick(rng)];
          cellsOf8(cells, x, got);
          for (int l = 0; l < 8; ++l) ASSERT_EQ(got[l], cells.cellOf(x[l])) << x[l];
          float p[24];
          for (float& c : p) c = xs[pick(rng)];
          three.keysOf8(p, got);
          for (int l = 0; l < 8; ++l) ASSERT_EQ(got[l], three.keyOf(p + 3 * l)) << l;
        }
#endif
    }
}

}  // namespace
}  // namespace krGeom
