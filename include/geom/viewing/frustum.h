// krGeom::Frustum: a view volume as eight corner points and the six planes through them, to be
// moved by any affine transform (eye to world, say) and culled against.
//
//   krGeom::Frustum f(-1.0, 1.0, -1.0, 1.0, 1.0, 100.0, true);   // perspective, in eye space
//   f.transform(eyeToWorld);
//   const krLinear::Plane* planes = f.getPlanes();   // top, left, bottom, right, near, far
//   // a point p is outside when planes[i].signedDistance(p) > 0 for some i
//
// Corners 0..3 lie on the near face, corner i + 4 behind corner i. For the bounds constructor the
// near corners are (right, top), (left, top), (left, bottom), (right, bottom). Every plane normal
// points out of the volume (when left < right and bottom < top). The frustum has no containment
// test of its own: callers test against the planes with tolerances of their choosing.
// A plain value. One thread at a time.
#pragma once

#include <geom/export.h>
#include <kr/linear.h>

namespace krGeom {

class KRGEOM_EXPORT Frustum {
 public:
  // --- Construction ---
  // Near face at z = -near. Orthographic: the far corners repeat the near x and y at z = -far;
  // perspective: the near corners scaled from the eye at the origin by far / near.
  Frustum(double left, double right, double bottom, double top, double nearDist, double farDist,
          bool perspective);
  // Eight corners given as pairs: each near corner followed by the far corner behind it.
  Frustum(const krLinear::Point& p0, const krLinear::Point& p4, const krLinear::Point& p1,
          const krLinear::Point& p5, const krLinear::Point& p2, const krLinear::Point& p6,
          const krLinear::Point& p3, const krLinear::Point& p7);
  Frustum(const Frustum&) = default;
  Frustum& operator=(const Frustum&) = default;
  ~Frustum() = default;
  // Exchanges corners and planes.
  void swap(Frustum& o) noexcept;

  // --- Measures ---
  // The means of the near and of the far corners.
  krLinear::Point getNearCenter() const;
  krLinear::Point getFarCenter() const;
  // Far centre - near centre (not normalised).
  krLinear::Vector getVector() const;
  // From the near centre towards the far centre (unit direction).
  krLinear::Line getRay() const;

  // Moves every corner by m and recomputes the planes. A mirroring m (negative determinant) also
  // reorders the corners so that the normals keep pointing outward.
  void transform(const krLinear::AffineMatrix& m);

  // --- Access ---
  // The six planes: sides 0..3 (top, left, bottom, right for the bounds constructor), near, far.
  const krLinear::Plane* getPlanes() const { return planes_; }
  // The 24 corner coordinates, corner by corner.
  const double* getPoints() const { return points_; }
  krLinear::Point getPoint(int i) const { return krLinear::Point(points_ + 3 * i); }

 private:
  void setPersp(double left, double right, double bottom, double top, double nearDist,
                double farDist);
  void setOrtho(double left, double right, double bottom, double top, double nearDist,
                double farDist);
  void setPoint(int i, const krLinear::Point& p);
  void computePlanes();
  void computePlane(int a, int b, int c, krLinear::Plane& plane) const;

  double points_[24];
  krLinear::Plane planes_[6];
};

}  // namespace krGeom
