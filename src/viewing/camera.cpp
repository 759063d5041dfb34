#include <geom/spatial/bounding_box.h>
#include <geom/viewing/camera.h>

#include "debug_print.h"

#include <algorithm>
#include <limits>

namespace krGeom {

using krLinear::AffineMatrix;
using krLinear::HPoint;
using krLinear::Point;
using krLinear::ProjMatrix;

Camera::Camera() = default;
Camera::Camera(const Camera&) = default;
// The signals' own assignment keeps this camera's connections.
Camera& Camera::operator=(const Camera&) = default;
Camera::~Camera() = default;

Camera* Camera::clone() const {
  return new Camera(*this);
}

// --- Setting the view ---

void Camera::setWorldToEye(const Point& target, const Point& eye, const krLinear::Normal& up) {
  const krLinear::Normal n = target - eye;
  const krLinear::Normal right = krLinear::cross(n, up);
  const krLinear::Normal trueUp = krLinear::cross(right, n);
  // The rotation's columns are right, up and -n; its inverse has them as rows.
  eyeToWorld_.setRow(0, right);
  eyeToWorld_.setRow(1, trueUp);
  eyeToWorld_.setRow(2, -n.vector());
  eyeToWorld_.setRow(3, eye.toVector());
  for (int r = 0; r < 3; ++r) {
    worldToEye_(r, 0) = right[r];
    worldToEye_(r, 1) = trueUp[r];
    worldToEye_(r, 2) = -n[r];
  }
  const krLinear::Vector e = eye.toVector();
  worldToEye_.setRow(3, {-dot(e, right), -dot(e, trueUp), dot(e, n)});
  changed();
}

void Camera::setWorldToEye(const AffineMatrix& worldToEye) {
  worldToEye_ = worldToEye;
  eyeToWorld_ = worldToEye.inverse();
  changed();
}

void Camera::setFrustum(const EyeSpaceFrustum& frustum) {
  if (!(frustum == frustum_)) dirty_ = true;
  frustum_ = frustum;
  derived_.valid = false;
}

void Camera::setFrustum(const AngleAspect& lens) {
  EyeSpaceFrustum f;
  lens.getEyeSpaceFrustum(f);
  setFrustum(f);
}

void Camera::setViewport(const Viewport& viewport) {
  if (viewport == viewport_) return;
  viewport_ = viewport;
  changed();
}

void Camera::setOpenFrustum(bool open) {
  if (open == openFrustum_) return;
  openFrustum_ = open;
  changed();
}

void Camera::setNearFar(const BoundingBox& box) {
  const Point eye = getEyeLocation();
  const krLinear::Line axis(eye, getViewVector());
  double nearest = std::numeric_limits<double>::max();
  double farthest = 0.0;
  for (int i = 0; i < 8; ++i) {
    krLinear::PointFlt c;
    box.getPoint(i, c);
    const double t = krLinear::projectParam(Point(c.x(), c.y(), c.z()), axis);
    const double depth = t <= 0.0 ? -1.0 : krLinear::distance(eye, axis.eval(t));
    nearest = std::min(nearest, depth);
    farthest = std::max(farthest, depth);
  }
  double nearDist = nearest * (1.0 - 0.01);
  double farDist = farthest * (1.0 + 0.01);
  if (farDist <= krLinear::epsilonTol) farDist = 1.0;
  nearDist = std::max({0.001, farDist * 0.00048828125, nearDist});
  if (nearDist != frustum_.getNearDist() || farDist != frustum_.getFarDist()) {
    frustum_.setDepthRange(nearDist, farDist, true);
    changed();
  }
}

// --- Matrices ---

const Camera::Derived& Camera::derived() const {
  Derived& d = derived_;
  if (d.valid) return d;
  ProjMatrix eyeToClip;
  getEyeToClip(eyeToClip);
  d.worldToClip = ProjMatrix(worldToEye_) * eyeToClip;
  d.clipToWorld = d.worldToClip.inverse();
  viewport_.getViewTransform(d.viewTransform);
  d.worldToViewport = d.worldToClip * ProjMatrix(d.viewTransform);
  viewport_.getInverseViewTransform(d.inverseViewTransform);
  viewport_.getInverseViewTransform(d.inverseViewTransform2);
  frustum_.getPlaneAtDepth(frustum_.getNearDist(), d.nearPlane);
  d.nearPlane.transform(eyeToWorld_);
  d.valid = true;
  return d;
}

void Camera::getEyeToClip(ProjMatrix& m) const {
  frustum_.getMatrix(m, openFrustum_);
}

void Camera::getWorldToClip(ProjMatrix& m) const {
  m = derived().worldToClip;
}

void Camera::getWorldToViewport(ProjMatrix& m) const {
  m = derived().worldToViewport;
}

void Camera::getViewportToWorld(ProjMatrix& m) const {
  m = derived().worldToViewport;
  m.invert();
}

void Camera::getPickMatrix(const krLinear::Point2& centre, ProjMatrix& m, double radius) const {
  const double r = radius + minPickRadius_;
  getPickMatrixImpl({{centre.x() - r, centre.y() - r}, {centre.x() + r, centre.y() + r}}, m);
}

void Camera::getPickMatrix(const krLinear::Range2d& region, ProjMatrix& m) const {
  if (krLinear::equivalent(region.lower(), region.upper(), krLinear::epsilonTol))
    getPickMatrix(region.lower(), m, 1.0);
  else
    getPickMatrixImpl(region, m);
}

void Camera::getPickMatrixImpl(const krLinear::Range2d& region, ProjMatrix& m) const {
  ProjMatrix eyeToClip;
  frustum_.getMatrix(eyeToClip, false);  // picking always uses the finite projection
  AffineMatrix pick;
  viewport_.getPickTransform(region, pick);
  m = ProjMatrix(worldToEye_) * eyeToClip * ProjMatrix(pick);
}

// --- Points, rays and planes ---

bool Camera::project(const Point& world, Point& window) const {
  const Derived& d = derived();
  const HPoint h = world * d.worldToClip;
  const bool inside = h.insideView(true);
  if (!inside && !frustum_.getOrthographic()) return false;
  window = h.toPoint() * d.viewTransform;
  return inside;
}

void Camera::getWorldSpacePoint(const krLinear::Point2& window, double depth, Point& world) const {
  const Derived& d = derived();
  const Point ndc = Point(window.x(), window.y(), depth) * d.inverseViewTransform;
  world = (ndc * d.clipToWorld).toPoint();
}

void Camera::getWorldSpaceRay(const krLinear::Point2& window, krLinear::Line& ray) const {
  const krLinear::Point2 c = window * derived().inverseViewTransform2;
  getWorldSpaceRay(krLinear::Tuple2((c.x() + 1.0) * 0.5, (c.y() + 1.0) * 0.5), ray);
}

void Camera::getWorldSpaceRay(const krLinear::Tuple2& s, krLinear::Line& ray) const {
  const Point p = derived().nearPlane.eval(s.x(), s.y());
  if (frustum_.getOrthographic()) {
    ray.set(p, getViewVector());
  } else {
    const Point eye = getEyeLocation();
    ray.set(eye, p - eye);
  }
}

void Camera::getWorldSpaceRay(const Point& world, krLinear::Vector& direction) const {
  direction = frustum_.getOrthographic() ? getViewVector().vector() : world - getEyeLocation();
}

krLinear::Point2 Camera::getWorldPointToViewport(const Point& world) const {
  double width, height;
  viewport_.getSize(width, height);
  const Point q = (world * derived().worldToViewport).toPoint();
  return {q.x(), height - q.y()};
}

void Camera::getScreenAlignedNearPlane(krLinear::ParamPlane& out) const {
  getScreenAlignedPlaneAtDepth(frustum_.getNearDist(), out);
}

void Camera::getScreenAlignedFarPlane(krLinear::ParamPlane& out) const {
  getScreenAlignedPlaneAtDepth(frustum_.getFarDist(), out);
}

void Camera::getScreenAlignedPlaneAtDepth(double depth, krLinear::ParamPlane& out) const {
  frustum_.getPlaneAtDepth(depth, out);
  out.transform(eyeToWorld_);
}

// --- Measures ---

bool Camera::pointInFrontOfCamera(const Point& p) const {
  return krLinear::projectParam(p, krLinear::Line(getEyeLocation(), getViewVector())) >= 0.0;
}

double Camera::distanceToPoint(const Point& p) const {
  return krLinear::distance(getEyeLocation(), p);
}

double Camera::screenDepthAtPoint(const Point& p) const {
  const krLinear::Line axis(getEyeLocation(), getViewVector());
  const double t = krLinear::projectParam(p, axis);
  return t < 0.0 ? -1.0 : krLinear::distance(axis.point(), axis.eval(t));
}

double Camera::pixelScaleForDepth(double depth, double pixels) const {
  double width, height;
  viewport_.getSize(width, height);
  return frustum_.getHeightAtDepth(depth) * pixels / height;
}

double Camera::pixelScaleOrtho() const {
  double width, height;
  viewport_.getSize(width, height);
  return frustum_.getHeightAtDepth(0.0) / height;
}

bool Camera::pixelDistance(const Point& a, const Point& b, double& d) const {
  const Derived& dv = derived();
  const HPoint ha = a * dv.worldToClip, hb = b * dv.worldToClip;
  if (!ha.insideView(false) || !hb.insideView(false)) {
    d = std::numeric_limits<double>::max();
    return false;
  }
  double width, height;
  viewport_.getSize(width, height);
  Point pa = ha.toPoint(), pb = hb.toPoint();
  for (Point* p : {&pa, &pb}) {
    p->x() *= width / 2.0;
    p->y() *= height / 2.0;
  }
  d = krLinear::distance(pa, pb);
  return true;
}

bool Camera::equivalent(const Camera& o) const {
  return frustum_ == o.frustum_ && viewport_ == o.viewport_ && openFrustum_ == o.openFrustum_ &&
         krLinear::equivalent(worldToEye_, o.worldToEye_, krLinear::epsilonTol);
}

// --- Notices ---

void Camera::update() {
  if (!dirty_) return;
  if (interacting_ && !announced_) {
    announced_ = true;
    interactionStartedSignal.emit(*this);
  }
  dirty_ = false;
  changedSignal.emit(*this);
}

void Camera::endInteraction() {
  update();
  if (!interacting_) return;
  interacting_ = false;
  if (announced_) {
    announced_ = false;
    interactionEndedSignal.emit(*this);
  }
}

void Camera::debugPrint(krOS::DebugChannel& channel, const char* name) const {
  if (!channel.enabled()) return;
  detail::printHeader(channel, name, "Camera");
  viewport_.debugPrint(channel, name);
  frustum_.debugPrint(channel, name);
  channel.print("%s Matrix is\n", "w2e");
  for (int r = 0; r < 4; ++r)
    channel.print("  %.12f %.12f %.12f\n", worldToEye_(r, 0), worldToEye_(r, 1), worldToEye_(r, 2));
}

}  // namespace krGeom
