// krGeom::AxisCells: the cells of one axis of a box halved several levels deep, exactly as the
// spatial trees' sub-boxes halve it, for coding points by their cells in one go.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define KRGEOM_SPATIAL_SSE2 1
#else
#define KRGEOM_SPATIAL_SSE2 0
#endif

// Eight-lane loops, compiled for AVX2 and taken only where the processor has it.
#if KRGEOM_SPATIAL_SSE2 && defined(__GNUC__) && defined(__x86_64__)
#include <immintrin.h>
#define KRGEOM_SPATIAL_AVX2 1
#else
#define KRGEOM_SPATIAL_AVX2 0
#endif

namespace krGeom {

// Moves the bits of each lane's cell number apart in four shift-and-mask steps, so that the
// cells of several axes interleave into one key: the octree spreads three axes, the quadtree two,
// and they differ only in the shifts and masks.
struct SpreadSteps {
  int shift[4];
  std::uint32_t mask[4];
};

#if KRGEOM_SPATIAL_SSE2
inline __m128i spreadLanes(__m128i x, const SpreadSteps& s) {
  for (int k = 0; k < 4; ++k)
    x = _mm_and_si128(_mm_or_si128(x, _mm_slli_epi32(x, s.shift[k])),
                      _mm_set1_epi32(static_cast<int>(s.mask[k])));
  return x;
}
#endif

#if KRGEOM_SPATIAL_AVX2
// spreadLanes on eight lanes; the processor must have AVX2.
__attribute__((target("avx2"))) inline __m256i spreadLanes(__m256i x, const SpreadSteps& s) {
  for (int k = 0; k < 4; ++k)
    x = _mm256_and_si256(_mm256_or_si256(x, _mm256_slli_epi32(x, s.shift[k])),
                         _mm256_set1_epi32(static_cast<int>(s.mask[k])));
  return x;
}
#endif

// One axis of a box halved `levels` times exactly as the sub-boxes halve it. A coordinate's cell
// is the path of "x >= mid goes up" choices from the box down, which is what a key records.
//
// The cell is first read from the position t = (x - min) * scale in cell units. Both float
// operations are monotone in x, so an edge e the same formula puts at t(e) < t(x) is <= x, and
// one at t(e) > t(x) is > x. With every inner edge j at most `slack` from j (measured when the
// table is made), a t at least `slack` from the nearest integer therefore names its cell exactly;
// the few others (and NaN, points outside the box, boxes the formula does not fit) are settled
// by the table of edges.
class AxisCells {
 public:
  // `edges` holds at least 2^levels + 1 floats.
  void init(float min, float max, int levels, float* edges) {
    e_ = edges;
    cells_ = 1 << levels;
    e_[0] = min;
    e_[cells_] = max;
    for (int step = cells_; step > 1; step /= 2)
      for (int l = 0; l < cells_; l += step) e_[l + step / 2] = (e_[l] + e_[l + step]) * 0.5f;
    // With ascending inner edges the path is the number of inner edges <= x; it is then found
    // from a guess checked against the two edges around it (the outer ones infinite).
    sorted_ = true;
    wide_ = true;
    for (int j = 1; j + 1 < cells_; ++j) {
      sorted_ = sorted_ && e_[j] <= e_[j + 1];
      wide_ = wide_ && e_[j] < e_[j + 1];
    }
    e_[0] = -std::numeric_limits<float>::infinity();
    e_[cells_] = std::numeric_limits<float>::infinity();
    lo_ = min;
    scale_ = static_cast<float>(cells_) / (max - min);
    top_ = static_cast<float>(cells_ - 1);
    // The fast reading: off (margins no fraction passes) unless the formula fits the edges.
    fastLo_ = 2.0f;
    fastHi_ = -1.0f;
    clampHi_ = static_cast<float>(cells_) - 0.5f;
    if (sorted_ && scale_ > 0.0f && scale_ <= std::numeric_limits<float>::max()) {
      double slack = 0.0;
      for (int j = 1; j < cells_; ++j) {
        const float t = (e_[j] - lo_) * scale_;
        const double d = std::abs(static_cast<double>(t) - j);
        if (!(d <= slack)) slack = d;  // NaN sticks
      }
      if (slack < 0.125) {  // NaN fails too
        // Fractions strictly between slack and 1 - slack, the bounds rounded inwards.
        fastLo_ = std::nextafter(static_cast<float>(slack), 1.0f);
        fastHi_ = std::nextafter(static_cast<float>(1.0 - slack), 0.0f);
      }
    }
  }

  // The cell by the table alone.
  std::uint32_t cellByTable(float x) const {
    if (sorted_) {
      float t = (x - lo_) * scale_;
      if (!(t >= 0.0f)) t = 0.0f;  // NaN included
      if (t > top_) t = top_;
      // The guess, then its neighbours; NaN fails these tests and takes the descent.
      const int i = static_cast<int>(t);
      if (e_[i] <= x) {
        if (x < e_[i + 1]) return static_cast<std::uint32_t>(i);
        if (i + 1 < cells_ && x < e_[i + 2]) return static_cast<std::uint32_t>(i + 1);
      } else if (i > 0 && e_[i - 1] <= x) {
        return static_cast<std::uint32_t>(i - 1);
      }
    }
    int l = 0, r = cells_;  // descend the halvings
    while (r - l > 1) {
      const int m = (l + r) / 2;
      if (x >= e_[m])
        l = m;
      else
        r = m;
    }
    return static_cast<std::uint32_t>(l);
  }

  std::uint32_t cellOf(float x) const {
    float t = (x - lo_) * scale_;
    t = t > 0.0f ? t : 0.0f;  // NaN included
    t = t < clampHi_ ? t : clampHi_;
    const int i = static_cast<int>(t);
    const float f = t - static_cast<float>(i);
    if (f > fastLo_ && f < fastHi_) return static_cast<std::uint32_t>(i);
    return cellByTable(x);
  }

#if KRGEOM_SPATIAL_SSE2
  // cellOf on four lanes: the fast reading, with the table settling the lanes it does not.
  __m128i cellOf4(__m128 x) const {
    const __m128 t =
        _mm_min_ps(_mm_max_ps(_mm_mul_ps(_mm_sub_ps(x, _mm_set1_ps(lo_)), _mm_set1_ps(scale_)),
                              _mm_setzero_ps()),
                   _mm_set1_ps(clampHi_));
    const __m128i cell = _mm_cvttps_epi32(t);
    const __m128 f = _mm_sub_ps(t, _mm_cvtepi32_ps(cell));
    const int fast = _mm_movemask_ps(
        _mm_and_ps(_mm_cmpgt_ps(f, _mm_set1_ps(fastLo_)), _mm_cmplt_ps(f, _mm_set1_ps(fastHi_))));
    if (fast == 15) [[likely]]
      return cell;
    alignas(16) std::uint32_t lanes[4];
    alignas(16) float xs[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), cell);
    _mm_store_ps(xs, x);
    settleLanes(lanes, xs, 4, fast);
    return _mm_load_si128(reinterpret_cast<const __m128i*>(lanes));
  }
#endif

#if KRGEOM_SPATIAL_AVX2
  // cellOf4 on eight lanes; the processor must have AVX2.
  __attribute__((target("avx2"))) __m256i cellOf8(__m256 x) const {
    const __m256 t = _mm256_min_ps(
        _mm256_max_ps(_mm256_mul_ps(_mm256_sub_ps(x, _mm256_set1_ps(lo_)), _mm256_set1_ps(scale_)),
                      _mm256_setzero_ps()),
        _mm256_set1_ps(clampHi_));
    const __m256i cell = _mm256_cvttps_epi32(t);
    const __m256 f = _mm256_sub_ps(t, _mm256_cvtepi32_ps(cell));
    const int fast =
        _mm256_movemask_ps(_mm256_and_ps(_mm256_cmp_ps(f, _mm256_set1_ps(fastLo_), _CMP_GT_OQ),
                                         _mm256_cmp_ps(f, _mm256_set1_ps(fastHi_), _CMP_LT_OQ)));
    if (fast == 255) [[likely]]
      return cell;
    alignas(32) std::uint32_t lanes[8];
    alignas(32) float xs[8];
    _mm256_store_si256(reinterpret_cast<__m256i*>(lanes), cell);
    _mm256_store_ps(xs, x);
    settleLanes(lanes, xs, 8, fast);
    return _mm256_load_si256(reinterpret_cast<const __m256i*>(lanes));
  }
#endif

  // Whether no inner cell is empty: then points two or more cells apart, neither in cell 0
  // (where NaN goes), are more than one float step apart.
  bool wide() const {
    return wide_;
  }

 private:
  // The lanes of a many-lane reading that the fast reading did not settle (bit l of `fast`
  // clear), by the table.
  void settleLanes(std::uint32_t* lanes, const float* xs, int n, int fast) const {
    for (int l = 0; l < n; ++l)
      if (!(fast >> l & 1)) lanes[l] = cellByTable(xs[l]);
  }

  float* e_ = nullptr;
  int cells_ = 1;
  float lo_ = 0.0f, scale_ = 0.0f, top_ = 0.0f, clampHi_ = 0.0f, fastLo_ = 2.0f, fastHi_ = -1.0f;
  bool sorted_ = true;
  bool wide_ = true;
};

}  // namespace krGeom
