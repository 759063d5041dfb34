#include <geom/spatial/bounding_box.h>

#include <cmath>

namespace krGeom {

namespace {

// Corner i of a box: max x for bit 0, max y for bit 1, max z for bit 2.
inline void corner(const float* min, const float* max, int i, float* out) {
  out[0] = (i & 1) ? max[0] : min[0];
  out[1] = (i & 2) ? max[1] : min[1];
  out[2] = (i & 4) ? max[2] : min[2];
}

// Widens [lo, hi] per axis to hold p.
inline void widen(float* lo, float* hi, const float* p) {
  for (int a = 0; a < 3; ++a) {
    if (p[a] < lo[a]) lo[a] = p[a];
    if (p[a] > hi[a]) hi[a] = p[a];
  }
}

}  // namespace

BoundingBox::BoundingBox(const float* min, const float* max) {
  for (int a = 0; a < 3; ++a) {
    min_[a] = min[a];
    max_[a] = max[a];
  }
}

BoundingBox::BoundingBox(const float* p) : BoundingBox(p, p) {}

BoundingBox::BoundingBox(const float* p, float r) {
  for (int a = 0; a < 3; ++a) {
    min_[a] = p[a] - r;
    max_[a] = p[a] + r;
  }
}

BoundingBox::BoundingBox(const double* p) : BoundingBox(p, p) {}

BoundingBox::BoundingBox(const double* min, const double* max) {
  for (int a = 0; a < 3; ++a) {
    min_[a] = static_cast<float>(min[a]);
    max_[a] = static_cast<float>(max[a]);
  }
}

BoundingBox& BoundingBox::operator=(const krLinear::Range3d& range) {
  const krLinear::Point lo = range.lower();
  const krLinear::Point hi = range.upper();
  for (int a = 0; a < 3; ++a) {
    min_[a] = static_cast<float>(lo[a]);
    max_[a] = static_cast<float>(hi[a]);
  }
  return *this;
}

void BoundingBox::minPt(float* out) const {
  for (int a = 0; a < 3; ++a) out[a] = min_[a];
}

void BoundingBox::maxPt(float* out) const {
  for (int a = 0; a < 3; ++a) out[a] = max_[a];
}

krLinear::PointFlt BoundingBox::center() const {
  float c[3];
  center(c);
  return krLinear::PointFlt(c[0], c[1], c[2]);
}

void BoundingBox::center(float* out) const {
  for (int a = 0; a < 3; ++a) out[a] = (min_[a] + max_[a]) * 0.5f;
}

void BoundingBox::diagonal(float* out) const {
  for (int a = 0; a < 3; ++a) out[a] = max_[a] - min_[a];
}

krLinear::VectorFlt BoundingBox::halfDiagonal() const {
  float h[3];
  halfDiagonal(h);
  return krLinear::VectorFlt(h[0], h[1], h[2]);
}

void BoundingBox::halfDiagonal(float* out) const {
  for (int a = 0; a < 3; ++a) out[a] = (max_[a] - min_[a]) * 0.5f;
}

float BoundingBox::diagonalLength() const {
  float d[3];
  diagonal(d);
  return krLinear::VectorFlt(d[0], d[1], d[2]).length();
}

void BoundingBox::getPoint(int i, float* out) const {
  corner(min_, max_, i, out);
}

void BoundingBox::getPoint(int i, krLinear::PointFlt& out) const {
  float p[3];
  corner(min_, max_, i, p);
  out = krLinear::PointFlt(p[0], p[1], p[2]);
}

kr::vector<krLinear::Point> BoundingBox::getVertices() const {
  // Corner numbers (getPoint order) of the bottom face walked around, then the top face.
  static constexpr int order[8] = {0, 2, 3, 1, 4, 6, 7, 5};
  kr::vector<krLinear::Point> vertices;
  vertices.reserve(8);
  for (int i : order) {
    float p[3];
    corner(min_, max_, i, p);
    vertices.push_back(krLinear::Point(p[0], p[1], p[2]));
  }
  return vertices;
}

krLinear::Range3d BoundingBox::asRange3d() const {
  krLinear::Range3d range;
  range.setUnbounded();
  if (isValid()) {
    range.set(krLinear::Point(min_[0], min_[1], min_[2]),
              krLinear::Point(max_[0], max_[1], max_[2]));
  }
  return range;
}

bool BoundingBox::isValid() const {
  return max_[0] >= min_[0] && max_[1] >= min_[1] && max_[2] >= min_[2];
}

bool BoundingBox::intersects(const BoundingBox& o) const {
  for (int a = 0; a < 3; ++a) {
    if (o.min_[a] > max_[a]) return false;
  }
  for (int a = 0; a < 3; ++a) {
    if (min_[a] > o.max_[a]) return false;
  }
  return true;
}

bool BoundingBox::intersects2D(const BoundingBox& o) const {
  for (int a = 0; a < 2; ++a) {
    if (o.min_[a] > max_[a]) return false;
  }
  for (int a = 0; a < 2; ++a) {
    if (min_[a] > o.max_[a]) return false;
  }
  return true;
}

bool BoundingBox::contains(const BoundingBox& o) const {
  for (int a = 0; a < 3; ++a) {
    if (!(o.min_[a] > min_[a] && max_[a] > o.max_[a])) return false;
  }
  return true;
}

double BoundingBox::distance2(const krLinear::PointFlt& pt) const {
  float p[3];
  pt.get(p);
  float s = 0.f;
  for (int a = 0; a < 3; ++a) {
    if (min_[a] > p[a]) {
      const float d = p[a] - min_[a];
      s += d * d;
    } else if (p[a] > max_[a]) {
      const float d = p[a] - max_[a];
      s += d * d;
    }
  }
  return s;
}

double BoundingBox::distance(const krLinear::PointFlt& p) const {
  return std::sqrt(distance2(p));
}

void BoundingBox::setInvalid() {
  for (int a = 0; a < 3; ++a) {
    min_[a] = invalidValue;
    max_[a] = -invalidValue;
  }
}

void BoundingBox::zero() {
  for (int a = 0; a < 3; ++a) min_[a] = max_[a] = 0.f;
}

void BoundingBox::extend(const krLinear::PointFlt& pt) {
  float p[3];
  pt.get(p);
  widen(min_, max_, p);
}

void BoundingBox::extend(const BoundingBox& o) {
  for (int a = 0; a < 3; ++a) {
    if (o.min_[a] < min_[a]) min_[a] = o.min_[a];
  }
  for (int a = 0; a < 3; ++a) {
    if (o.max_[a] > max_[a]) max_[a] = o.max_[a];
  }
}

void BoundingBox::extend(float d) {
  const float h = static_cast<float>(static_cast<double>(d) * 0.5);
  for (int a = 0; a < 3; ++a) {
    min_[a] -= h;
    max_[a] += h;
  }
}

void BoundingBox::extendFractionally() {
  const float r = static_cast<float>(0.01 * diagonalLength());
  for (int a = 0; a < 3; ++a) {
    min_[a] -= r;
    max_[a] += r;
  }
}

void BoundingBox::extendToCube() {
  float c[3];
  float h[3];
  center(c);
  halfDiagonal(h);
  float half = h[0];
  if (h[1] > half) half = h[1];
  if (h[2] > half) half = h[2];
  for (int a = 0; a < 3; ++a) {
    min_[a] = c[a] - half;
    max_[a] = c[a] + half;
  }
}

void BoundingBox::clipTo(const BoundingBox& o) {
  for (int a = 0; a < 3; ++a) {
    if (o.min_[a] > min_[a]) min_[a] = o.min_[a];
    if (o.max_[a] < max_[a]) max_[a] = o.max_[a];
  }
}

void BoundingBox::scale(float s) {
  float c[3];
  center(c);
  for (int a = 0; a < 3; ++a) {
    const float d = (min_[a] - c[a]) * s;
    min_[a] = c[a] + d;
    max_[a] = c[a] - d;
  }
}

void BoundingBox::transform(const krLinear::AffineMatrixFlt& m) {
  float lo[3];
  float hi[3];
  for (int i = 0; i < 8; ++i) {
    float p[3];
    corner(min_, max_, i, p);
    const krLinear::PointFlt t = krLinear::PointFlt(p[0], p[1], p[2]) * m;
    if (i == 0) {
      t.get(lo);
      t.get(hi);
    } else {
      t.get(p);
      widen(lo, hi, p);
    }
  }
  *this = BoundingBox(lo, hi);
}

void BoundingBox::transform(const krLinear::AffineMatrix& m) {
  float lo[3];
  float hi[3];
  for (int i = 0; i < 8; ++i) {
    float p[3];
    corner(min_, max_, i, p);
    const krLinear::Point t = krLinear::Point(p[0], p[1], p[2]) * m;
    for (int a = 0; a < 3; ++a) p[a] = static_cast<float>(t[a]);
    if (i == 0) {
      for (int a = 0; a < 3; ++a) lo[a] = hi[a] = p[a];
    } else {
      widen(lo, hi, p);
    }
  }
  *this = BoundingBox(lo, hi);
}

bool equivalent(const BoundingBox& a, const BoundingBox& b, float tol) {
  float av[6];
  float bv[6];
  a.minPt(av);
  a.maxPt(av + 3);
  b.minPt(bv);
  b.maxPt(bv + 3);
  for (int k = 0; k < 6; ++k) {
    if (!(std::fabs(av[k] - bv[k]) < tol)) return false;
  }
  return true;
}

}  // namespace krGeom
