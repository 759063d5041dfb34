#include <kr/linear/plane.h>

namespace krLinear {

void ParamPlane::transform(const AffineMatrix& m) noexcept {
  AffineMatrix normals;
  if (m.normalMatrix(normals)) n_ = n_.vector() * normals;
  p_ = p_ * m;
  u_ = u_ * m;
  v_ = v_ * m;
}

bool intersect(const Plane& a, const Plane& b, Line& result) noexcept {
  const Vector& na = a.normal();
  const Vector& nb = b.normal();
  const Vector dir = cross(na, nb);
  if (isParallel(na, nb, parallelTol)) return false;
  // With the planes written n·x = h, the line's point nearest the origin is a combination
  // ca·na + cb·nb satisfying both equations.
  const double ha = dot(na, a.point().toVector());
  const double hb = dot(nb, b.point().toVector());
  const double k = dot(na, nb);
  const double len2 = dir.lengthSquared();  // = 1 − k² for unit normals
  const double ca = (ha - hb * k) / len2;
  const double cb = (hb - ha * k) / len2;
  result.set(Point::origin() + na * ca + nb * cb, dir);
  return true;
}

}  // namespace krLinear
