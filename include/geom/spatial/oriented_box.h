// krGeom::OrientedBox (a box given by a corner and three scaled unit axes) and
// krGeom::OrientedPlane (a rectangle in a plane), in double precision, with the cut of a plane
// through a box (intersect) and a rectangle turned to read upright for a camera (orientPlane).
//
//   krGeom::OrientedBox box(krLinear::Range3d(0, 0, 0, 1, 2, 3));
//   box.transform(m);
//   krGeom::OrientedPlane mid = box.dominantMidPlane(viewDirection);
//   krGeom::orientPlane(mid, camera);
//
// Plain values with no invariant beyond the unit axes. One thread at a time.
#pragma once

#include <geom/export.h>
#include <kr/linear.h>

namespace krGeom {

class Camera;

// A rectangle: the corner `origin`, the plane's unit `normal` and the unit edge directions
// uAxis and vAxis with the edge lengths uExtent and vExtent. Default: the platform's default
// point and normals, zero extents.
class KRGEOM_EXPORT OrientedPlane {
 public:
  krLinear::Point origin;
  krLinear::Normal normal;
  krLinear::Normal uAxis;
  krLinear::Normal vAxis;
  double uExtent = 0.0;
  double vExtent = 0.0;

  // Grows each edge shorter than d to d about its middle (u first, then v).
  void makeAtLeast(double d);
  // point = origin, normal, parameter vectors uAxis uExtent and vAxis vExtent.
  krLinear::ParamPlane asParamPlane() const;
  // The same for a copy grown with makeAtLeast(d); this plane is not changed.
  krLinear::ParamPlane asParamPlane(double d) const;
  // Moves the rectangle by m: the corner as a point, the edges as vectors, the normal by m's
  // normal matrix (kept when m is singular).
  void transform(const krLinear::AffineMatrix& m);
};

// The box origin + s extent0 axis0 + t extent1 axis1 + r extent2 axis2 for s, t, r in [0, 1].
// extent0 = -1 marks an unbounded box.
class KRGEOM_EXPORT OrientedBox {
 public:
  krLinear::Point origin;  // the corner the axes run from, not the centre
  krLinear::Normal axis0;
  krLinear::Normal axis1;
  krLinear::Normal axis2;
  double extent0 = 0.0;
  double extent1 = 0.0;
  double extent2 = 0.0;

  // --- Construction ---
  // The platform's default point and normals, zero extents.
  OrientedBox() = default;
  // A corner and three edge vectors (each axis is its edge normalised, each extent its length).
  OrientedBox(const krLinear::Point& corner, const krLinear::Vector& e0, const krLinear::Vector& e1,
              const krLinear::Vector& e2);
  // The range's lower corner, the x, y and z axes and the range's sizes.
  explicit OrientedBox(const krLinear::Range3d& range);
  // As set(plane).
  explicit OrientedBox(const krLinear::ParamPlane& plane);

  // The point p: axes x, y, z and zero extents.
  void set(const krLinear::Point& p);
  // As the matching constructor.
  void set(const krLinear::Point& corner, const krLinear::Vector& e0, const krLinear::Vector& e1,
           const krLinear::Vector& e2);
  // Axes and extents stored as passed.
  void set(const krLinear::Point& corner, const krLinear::Normal& a0, const krLinear::Normal& a1,
           const krLinear::Normal& a2, double x0, double x1, double x2);
  // A flat box: corner = the plane's point, axis0 = its normal with extent 0, axis1 and axis2 its
  // parameter vectors normalised, with their lengths as extents.
  void set(const krLinear::ParamPlane& plane);
  void setUnbounded() { extent0 = -1.0; }
  bool isBounded() const { return extent0 >= 0.0; }

  // --- Points and frames ---
  krLinear::Point eval(double s, double t, double r) const;
  krLinear::Point mid() const { return eval(0.5, 0.5, 0.5); }
  // The frame at the corner with the unit axes in the order axis1, axis2, axis0 (no extents).
  krLinear::AffineMatrix frame() const;
  // The range of the corner and its three neighbouring corners only. Deliberately not the far
  // corners, so for a rotated box the result can be smaller than the true axis-aligned extent.
  krLinear::Range3d axisAlignedExtent() const;

  // --- Changing ---
  // Grows each extent shorter than d to d about the centre (axis 0, 1, 2 in turn).
  void makeAtLeast(double d);
  // Adds d to every extent about the centre.
  void enlarge(double d);
  // Moves the box by m: the corner as a point, each edge vector (axis times extent) as a vector;
  // the new axes are the edges normalised and the extents their lengths. An axis whose extent is
  // 0 has no edge to carry its direction, so it is the axis itself transformed and normalised.
  void transform(const krLinear::AffineMatrix& m);

  // --- Mid-planes ---
  // The plane across axis0 through the centre: normal axis0, u = axis2, v = axis1.
  OrientedPlane uvMidplane() const;
  // The plane through the centre across the axis most nearly along `direction` (ties go to the
  // later axis in the order axis0, axis2, axis1 as the comparisons are strict).
  OrientedPlane dominantMidPlane(const krLinear::Vector& direction) const;
};

// The flat box lying in `plane` that covers the plane's cut through `range`: axis0 along a line
// of the plane, axis1 across it in the plane, axis2 the plane's normal with extent 0.
KRGEOM_EXPORT OrientedBox intersect(const krLinear::Range3d& range, const krLinear::Plane& plane);

// Turns the rectangle to read upright for the camera without changing the area it covers: v is
// the edge nearer the camera's up, u runs right, v up, and the normal faces the camera.
KRGEOM_EXPORT void orientPlane(OrientedPlane& plane, const Camera& camera);

}  // namespace krGeom
