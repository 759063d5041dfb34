// krGeom::Camera: a world-to-eye transform, an eye-space frustum and a viewport, and the
// conversions between world, eye, clip and window coordinates that drawing and picking need.
//
//   krGeom::Camera cam;
//   cam.setWorldToEye(target, eye, krLinear::Normal::yAxis());
//   cam.setFrustum(lens);                       // an AngleAspect
//   cam.setViewport(viewport);
//   cam.setNearFar(meshBox);                    // fit the depth range to a BoundingBox
//   cam.update();                               // observers hear of the change now
//   krLinear::Point window;
//   if (cam.project(worldPoint, window)) { ... }
//   krLinear::Line ray;
//   cam.getWorldSpaceRay(krLinear::Point2(mouseX, mouseY), ray);
//
// Conventions: points are row vectors on the left of a matrix, translation is the last row, eye
// space looks down -z. The eye-to-world rows are right, up, -view and the eye location.
//
// Setters only mark the camera dirty; the signals are sent from update() and endInteraction()
// alone, each passing the camera. Conversions read matrices cached from the current settings, so
// a run of project() or getWorldSpaceRay() calls allocates nothing and recomputes nothing.
// Copies take every setting and flag but not the signals' connections. One thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/viewing/angle_aspect.h>
#include <geom/viewing/eye_space_frustum.h>
#include <geom/viewing/viewport.h>
#include <kr/debug_channel.h>
#include <kr/linear.h>
#include <kr/signal.h>

namespace krGeom {

class BoundingBox;

class KRGEOM_EXPORT Camera {
 public:
  // --- Construction ---
  // Identity world-to-eye, default frustum and viewport, pick radius 0, every flag false.
  Camera();
  Camera(const Camera& o);
  // Copies every setting and flag; the signals keep their own connections. Self-assignment does
  // nothing.
  Camera& operator=(const Camera& o);
  virtual ~Camera();
  // A new copy, owned by the caller.
  Camera* clone() const;

  // --- Signals (connect observers directly; each receives the camera) ---
  // Sent by update()/endInteraction() when the camera changed since the last notice.
  krRTB::Signal<Camera&> changedSignal;
  // Sent once per interaction, at the first notice that finds the camera changed.
  krRTB::Signal<Camera&> interactionStartedSignal;
  // Sent by endInteraction() when the interaction announced its start.
  krRTB::Signal<Camera&> interactionEndedSignal;
  // Kept for observers of the application's own; the camera never sends it.
  krRTB::Signal<Camera&> reservedSignal;

  // --- Setting the view ---
  // Looks from eye at target with up as the rough up direction. Always dirty.
  void setWorldToEye(const krLinear::Point& target, const krLinear::Point& eye,
                     const krLinear::Normal& up);
  // Takes the matrix and its inverse. Always dirty.
  void setWorldToEye(const krLinear::AffineMatrix& worldToEye);
  void getWorldToEye(krLinear::AffineMatrix& m) const { m = worldToEye_; }
  void getEyeToWorld(krLinear::AffineMatrix& m) const { m = eyeToWorld_; }
  // Copies the frustum; dirty only when it differs.
  void setFrustum(const EyeSpaceFrustum& frustum);
  // The lens's frustum, as setFrustum.
  void setFrustum(const AngleAspect& lens);
  void getFrustum(EyeSpaceFrustum& out) const { out = frustum_; }
  void getFrustum(AngleAspect& out) const { frustum_.getAngleAspect(out); }
  // Copies the viewport and marks dirty when it differs; otherwise nothing.
  void setViewport(const Viewport& viewport);
  void getViewport(Viewport& out) const { out = viewport_; }
  // Uses the infinite-far projection; dirty when the value changes.
  void setOpenFrustum(bool open);
  bool getOpenFrustum() const { return openFrustum_; }
  // Fits near and far to the box's corners (1% margins, near at least 0.001 and far / 2048),
  // keeping the angle of view; dirty when either changes.
  void setNearFar(const BoundingBox& box);
  // Added to every pick radius.
  void setMinimumPickRadius(double radius) { minPickRadius_ = radius; }
  double getMinimumPickRadius() const { return minPickRadius_; }
  void setDirty() { dirty_ = true; }
  bool isDirty() const { return dirty_; }

  // --- Matrices ---
  // The frustum's matrix, infinite-far when the frustum is open.
  void getEyeToClip(krLinear::ProjMatrix& m) const;
  // World to eye to clip.
  void getWorldToClip(krLinear::ProjMatrix& m) const;
  // World to clip to window.
  void getWorldToViewport(krLinear::ProjMatrix& m) const;
  // The inverse of getWorldToViewport.
  void getViewportToWorld(krLinear::ProjMatrix& m) const;
  // World to the normalised square around a window point, radius + the minimum pick radius.
  void getPickMatrix(const krLinear::Point2& centre, krLinear::ProjMatrix& m, double radius) const;
  // World to the normalised square over a window region; a region of no size (within
  // epsilonTol) is the point form at its lower corner with radius 1. Always the finite projection.
  void getPickMatrix(const krLinear::Range2d& region, krLinear::ProjMatrix& m) const;

  // --- Points, rays and planes ---
  // World point to window point (x, y and depth). Returns whether it is in view; a perspective
  // camera leaves `window` untouched for a point out of view, an orthographic one fills it anyway.
  bool project(const krLinear::Point& world, krLinear::Point& window) const;
  // The world point at a window point and depth (in the viewport's depth range).
  void getWorldSpacePoint(const krLinear::Point2& window, double depth,
                          krLinear::Point& world) const;
  // The world ray through a window point: from the eye (perspective) or along the view direction
  // through the near plane (orthographic).
  void getWorldSpaceRay(const krLinear::Point2& window, krLinear::Line& ray) const;
  // The ray through the near cross-section at parameters s ((0, 0) lower left, (1, 1) upper
  // right; the cross-section is centred on the view axis).
  void getWorldSpaceRay(const krLinear::Tuple2& s, krLinear::Line& ray) const;
  // The direction of the ray from the eye to a world point (the view direction if orthographic).
  void getWorldSpaceRay(const krLinear::Point& world, krLinear::Vector& direction) const;
  // The window point of a world point with y flipped against the viewport height (the viewport
  // origin is deliberately not taken into account for the flip).
  krLinear::Point2 getWorldPointToViewport(const krLinear::Point& world) const;
  // Directions and position of the eye in world space.
  void getViewVector(krLinear::Normal& v) const { v = getViewVector(); }
  krLinear::Normal getViewVector() const { return -eyeToWorld_.row(2); }
  void getRightVector(krLinear::Normal& v) const { v = getRightVector(); }
  krLinear::Normal getRightVector() const { return eyeToWorld_.row(0); }
  void getUpVector(krLinear::Normal& v) const { v = getUpVector(); }
  krLinear::Normal getUpVector() const { return eyeToWorld_.row(1); }
  void getEyeLocation(krLinear::Point& p) const { p = getEyeLocation(); }
  krLinear::Point getEyeLocation() const {
    const krLinear::Vector t = eyeToWorld_.row(3);
    return {t.x(), t.y(), t.z()};
  }
  // The frustum's cross-sections at near, far or a depth, in world space.
  void getScreenAlignedNearPlane(krLinear::ParamPlane& out) const;
  void getScreenAlignedFarPlane(krLinear::ParamPlane& out) const;
  void getScreenAlignedPlaneAtDepth(double depth, krLinear::ParamPlane& out) const;

  // --- Measures ---
  // True when the point projects onto the view axis at or ahead of the eye.
  bool pointInFrontOfCamera(const krLinear::Point& p) const;
  double distanceToPoint(const krLinear::Point& p) const;
  // The point's depth along the view axis, -1 for a point behind the eye.
  double screenDepthAtPoint(const krLinear::Point& p) const;
  // The world length of `pixels` pixels at a depth.
  double pixelScaleForDepth(double depth, double pixels) const;
  // The world length of one pixel for an orthographic frustum; 0 for a perspective one.
  double pixelScaleOrtho() const;
  // The window distance of two points in view: their normalised points with x scaled by
  // width / 2 and y by height / 2 (depth unscaled), and the 3D distance between them. False,
  // with the largest double, when either is out of view.
  bool pixelDistance(const krLinear::Point& a, const krLinear::Point& b, double& d) const;
  // Same frustum, viewport and open flag, and world-to-eye within epsilonTol.
  bool equivalent(const Camera& o) const;

  // --- Notices ---
  // When dirty: starts an interaction's announcement if needed, then sends the changed signal.
  void update();
  // Marks the start of an interaction; sends nothing.
  void beginInteraction() { interacting_ = true; }
  // update(), then ends the interaction (with its ended signal if its start was announced).
  void endInteraction();
  bool isInteracting() const { return interacting_; }

  // Prints viewport, frustum and world-to-eye on an enabled channel.
  void debugPrint(krOS::DebugChannel& channel, const char* name) const;

 private:
  // Matrices derived from the settings, rebuilt on first use after a change.
  struct Derived {
    krLinear::ProjMatrix worldToClip;
    krLinear::ProjMatrix clipToWorld;
    krLinear::ProjMatrix worldToViewport;
    krLinear::AffineMatrix viewTransform;
    krLinear::AffineMatrix inverseViewTransform;
    krLinear::AffineMatrix2 inverseViewTransform2;
    krLinear::ParamPlane nearPlane;  // the near cross-section in world space
    bool valid = false;
  };
  const Derived& derived() const;
  void changed() {
    dirty_ = true;
    derived_.valid = false;
  }
  void getPickMatrixImpl(const krLinear::Range2d& region, krLinear::ProjMatrix& m) const;

  Viewport viewport_;
  EyeSpaceFrustum frustum_;
  krLinear::AffineMatrix worldToEye_;
  krLinear::AffineMatrix eyeToWorld_;
  double minPickRadius_ = 0.0;
  bool openFrustum_ = false;
  bool dirty_ = false;
  bool interacting_ = false;
  bool announced_ = false;
  mutable Derived derived_;
};

}  // namespace krGeom
