// krGeom::AngleAspect: a lens given by its vertical angle of view, aspect ratio and depth range,
// and two readers of a projection matrix.
//
//   krGeom::AngleAspect lens;                  // 55 degrees, square, depth 1 to 100
//   lens.setAspectRatio(16.0 / 9.0);
//   krLinear::ProjMatrix m;
//   lens.getMatrix(m, false);                  // eye to clip, row vectors, eye looks down -z
//   krGeom::EyeSpaceFrustum f;
//   lens.getEyeSpaceFrustum(f);                // the symmetric frustum of the same view
//
// A plain value; nothing is validated. One thread at a time.
#pragma once

#include <geom/export.h>
#include <kr/debug_channel.h>
#include <kr/linear.h>

namespace krGeom {

class EyeSpaceFrustum;

// The default vertical angle of view: 55 degrees in radians, set up when the library loads.
KRGEOM_EXPORT extern const double defaultAngleOfViewRad;

// The aspect ratio m(1,1) / m(0,0) of a projection matrix.
KRGEOM_EXPORT double getAspectRatio(const krLinear::ProjMatrix& m);
// The vertical angle of view 2 atan(1 / m(1,1)) of a projection matrix, in radians.
KRGEOM_EXPORT double getVerticalAngleRadians(const krLinear::ProjMatrix& m);

class KRGEOM_EXPORT AngleAspect {
 public:
  // --- Construction ---
  // 55 degrees, aspect 1, near 1, far 100.
  AngleAspect() = default;

  // --- Access (no validation) ---
  void setAngleOfViewRad(double radians) { angle_ = radians; }
  double getAngleOfViewRad() const { return angle_; }
  // Width / height.
  void setAspectRatio(double aspect) { aspect_ = aspect; }
  double getAspectRatio() const { return aspect_; }
  void setDepthRange(double nearDist, double farDist) {
    near_ = nearDist;
    far_ = farDist;
  }
  double getNearDist() const { return near_; }
  double getFarDist() const { return far_; }

  // --- Measures ---
  // The height of the view at depth d: 2 tan(angle / 2) d.
  double getHeightAtDepth(double d) const;
  // The width of a view of height h: h * aspect.
  double getWidthForHeight(double h) const { return h * aspect_; }

  // --- Conversions ---
  // The eye-to-clip matrix. With infiniteFar the far plane is at infinity, kept just inside the
  // depth range by epsilonTolFlt.
  void getMatrix(krLinear::ProjMatrix& m, bool infiniteFar) const;
  // The perspective frustum of this lens: a symmetric frame on the near plane, near and far copied.
  void getEyeSpaceFrustum(EyeSpaceFrustum& out) const;

  // True when the angles differ by less than degreeTol (in radians) and aspect, near and far each
  // by less than epsilonTol.
  bool operator==(const AngleAspect& o) const;

  // Prints the lens on an enabled channel: a header line, then "<name> lens is" (a null name
  // prints as "(null)" there, deliberately), then the four values with three decimals.
  void debugPrint(krOS::DebugChannel& channel, const char* name) const;

 private:
  double angle_ = defaultAngleOfViewRad;
  double aspect_ = 1.0;
  double near_ = 1.0;
  double far_ = 100.0;
};

}  // namespace krGeom
