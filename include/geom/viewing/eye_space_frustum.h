// krGeom::EyeSpaceFrustum: the view volume in eye space, perspective or orthographic.
//
//   krGeom::EyeSpaceFrustum f;                 // frame [-1, 1] x [-1, 1] at near 1, far 100
//   f.setDepthRange(0.5, 50.0, true);          // keep the angle of view (frame becomes symmetric)
//   f.setOrthographic(true, 10.0);             // same view size at depth 10, now orthographic
//   krLinear::ProjMatrix m;
//   f.getMatrix(m, false);
//
// Eye space looks down -z: depth d > 0 lies at z = -d. For a perspective frustum left, right, top
// and bottom frame the view on the near plane; for an orthographic one they are the box's sides.
// A plain value; nothing is validated. One thread at a time.
#pragma once

#include <geom/export.h>
#include <kr/debug_channel.h>
#include <kr/linear.h>

namespace krGeom {

class AngleAspect;

class KRGEOM_EXPORT EyeSpaceFrustum {
 public:
  // --- Construction ---
  // Left -1, right 1, top 1, bottom -1, near 1, far 100, perspective.
  EyeSpaceFrustum() = default;

  // --- Projection kind ---
  // Sets the flag only.
  void setOrthographic(bool ortho) { ortho_ = ortho; }
  // Switches kind keeping the view's size at `depth`: the frame becomes the symmetric
  // cross-section at that depth (scaled back to the near plane when turning perspective).
  // Nothing happens when the kind does not change.
  void setOrthographic(bool ortho, double depth);
  bool getOrthographic() const { return ortho_; }

  // --- Frame and depth ---
  // (left, bottom) and (right, top).
  void setFrame(const krLinear::Tuple2& lowerLeft, const krLinear::Tuple2& upperRight);
  void getFrame(krLinear::Tuple2& lowerLeft, krLinear::Tuple2& upperRight) const;
  // With keepAngle on a perspective frustum the angle of view and aspect are kept and the frame
  // becomes symmetric; otherwise near and far are set and nothing else changes.
  void setDepthRange(double nearDist, double farDist, bool keepAngle);
  double getNearDist() const { return near_; }
  double getFarDist() const { return far_; }
  double getLeft() const { return left_; }
  double getRight() const { return right_; }
  double getTop() const { return top_; }
  double getBottom() const { return bottom_; }

  // --- Matrices ---
  // Eye to clip. infiniteFar (perspective only) puts the far plane at infinity.
  void getMatrix(krLinear::ProjMatrix& m, bool infiniteFar) const;
  // Clip to eye, for the finite matrix.
  void getInverseMatrix(krLinear::ProjMatrix& m) const;
  // Makes this the orthographic box of an orthographic projection matrix.
  void setFromOrthographicProjection(const krLinear::ProjMatrix& m);

  // --- Measures ---
  // (right - left) / (top - bottom).
  double getAspectRatio() const;
  // The view's height at depth d (t - b for an orthographic frustum).
  double getHeightAtDepth(double d) const;
  // The width of a view of height h at this frustum's aspect.
  double getWidthForHeight(double h) const;
  // The cross-section at depth d, centred on the view axis (an off-centre frame's shift is not
  // applied): eval(0, 0) is its lower-left corner (-W/2, -H/2, -d), eval(1, 1) the upper-right.
  void getPlaneAtDepth(double d, krLinear::ParamPlane& out) const;
  // The lens of this frustum: vertical angle and aspect (the off-centre shift is lost).
  void getAngleAspect(AngleAspect& out) const;

  // Same kind and all six bounds within epsilonTol.
  bool operator==(const EyeSpaceFrustum& o) const;

  // Prints the bounds on an enabled channel (top, bottom, left, right, near, far).
  void debugPrint(krOS::DebugChannel& channel, const char* name) const;

 private:
  double left_ = -1.0;
  double right_ = 1.0;
  double top_ = 1.0;
  double bottom_ = -1.0;
  double near_ = 1.0;
  double far_ = 100.0;
  bool ortho_ = false;
};

}  // namespace krGeom
