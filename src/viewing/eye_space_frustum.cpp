#include <geom/viewing/angle_aspect.h>
#include <geom/viewing/eye_space_frustum.h>

#include "debug_print.h"
#include "perspective_depth.h"

#include <cmath>

namespace krGeom {

void EyeSpaceFrustum::setOrthographic(bool ortho, double depth) {
  if (ortho == ortho_) return;
  krLinear::ParamPlane section;
  getPlaneAtDepth(depth, section);
  double a = section.uVector().x() / 2.0;
  double b = section.vVector().y() / 2.0;
  if (ortho_) {  // turning perspective: the frame lies on the near plane
    a *= near_ / depth;
    b *= near_ / depth;
  }
  left_ = -a;
  bottom_ = -b;
  right_ = a;
  top_ = b;
  ortho_ = ortho;
}

void EyeSpaceFrustum::setFrame(const krLinear::Tuple2& lowerLeft,
                               const krLinear::Tuple2& upperRight) {
  lowerLeft.get(left_, bottom_);
  upperRight.get(right_, top_);
}

void EyeSpaceFrustum::getFrame(krLinear::Tuple2& lowerLeft, krLinear::Tuple2& upperRight) const {
  lowerLeft.set(left_, bottom_);
  upperRight.set(right_, top_);
}

void EyeSpaceFrustum::setDepthRange(double nearDist, double farDist, bool keepAngle) {
  if (keepAngle && !ortho_) {
    AngleAspect lens;
    getAngleAspect(lens);
    lens.setDepthRange(nearDist, farDist);
    lens.getEyeSpaceFrustum(*this);
  } else {
    near_ = nearDist;
    far_ = farDist;
  }
}

void EyeSpaceFrustum::getMatrix(krLinear::ProjMatrix& m, bool infiniteFar) const {
  const double l = left_, r = right_, t = top_, b = bottom_, n = near_, f = far_;
  m.setZero();
  if (ortho_) {
    m(0, 0) = 2.0 / (r - l);
    m(1, 1) = 2.0 / (t - b);
    m(2, 2) = -2.0 / (f - n);
    m(3, 0) = -(r + l) / (r - l);
    m(3, 1) = -(t + b) / (t - b);
    m(3, 2) = -(f + n) / (f - n);
    m(3, 3) = 1.0;
    return;
  }
  m(0, 0) = 2.0 * n / (r - l);
  m(1, 1) = 2.0 * n / (t - b);
  m(2, 0) = (r + l) / (r - l);
  m(2, 1) = (t + b) / (t - b);
  m(2, 3) = -1.0;
  detail::setPerspectiveDepth(m, n, f, infiniteFar);
}

void EyeSpaceFrustum::getInverseMatrix(krLinear::ProjMatrix& m) const {
  const double l = left_, r = right_, t = top_, b = bottom_, n = near_, f = far_;
  m.setZero();
  if (ortho_) {
    m(0, 0) = (r - l) / 2.0;
    m(1, 1) = (t - b) / 2.0;
    m(2, 2) = -(f - n) / 2.0;
    m(3, 0) = (l + r) / 2.0;
    m(3, 1) = (b + t) / 2.0;
    m(3, 2) = -(f + n) / 2.0;
    m(3, 3) = 1.0;
    return;
  }
  m(0, 0) = (r - l) / (2.0 * n);
  m(1, 1) = (t - b) / (2.0 * n);
  m(2, 3) = -(f - n) / (2.0 * f * n);
  m(3, 0) = (l + r) / (2.0 * n);
  m(3, 1) = (b + t) / (2.0 * n);
  m(3, 2) = -1.0;
  m(3, 3) = (f + n) / (2.0 * f * n);
}

void EyeSpaceFrustum::setFromOrthographicProjection(const krLinear::ProjMatrix& m) {
  ortho_ = true;
  const double sx = 2.0 / m(0, 0), sy = 2.0 / m(1, 1), sz = -2.0 / m(2, 2);
  const double cx = -m(3, 0) * sx, cy = -m(3, 1) * sy, cz = -m(3, 2) * sz;
  right_ = (cx + sx) / 2.0;
  left_ = cx - right_;
  top_ = (cy + sy) / 2.0;
  bottom_ = cy - top_;
  far_ = (cz + sz) / 2.0;
  near_ = cz - far_;
}

double EyeSpaceFrustum::getAspectRatio() const {
  return (right_ - left_) / (top_ - bottom_);
}

double EyeSpaceFrustum::getHeightAtDepth(double d) const {
  return ortho_ ? top_ - bottom_ : (top_ - bottom_) * d / near_;
}

double EyeSpaceFrustum::getWidthForHeight(double h) const {
  return (right_ - left_) / (top_ - bottom_) * h;
}

void EyeSpaceFrustum::getPlaneAtDepth(double d, krLinear::ParamPlane& out) const {
  const double h = getHeightAtDepth(d);
  const double w = ortho_ ? right_ - left_ : getWidthForHeight(h);
  out = krLinear::ParamPlane({-w / 2.0, -h / 2.0, -d}, {w, 0.0, 0.0}, {0.0, h, 0.0});
}

void EyeSpaceFrustum::getAngleAspect(AngleAspect& out) const {
  krLinear::ProjMatrix m;
  getMatrix(m, false);
  out.setAngleOfViewRad(2.0 * std::atan(1.0 / m(1, 1)));
  out.setAspectRatio(getAspectRatio());
  out.setDepthRange(near_, far_);
}

bool EyeSpaceFrustum::operator==(const EyeSpaceFrustum& o) const {
  const auto close = [](double a, double b) { return std::fabs(a - b) < krLinear::epsilonTol; };
  return ortho_ == o.ortho_ && close(left_, o.left_) && close(right_, o.right_) &&
         close(top_, o.top_) && close(bottom_, o.bottom_) && close(near_, o.near_) &&
         close(far_, o.far_);
}

void EyeSpaceFrustum::debugPrint(krOS::DebugChannel& channel, const char* name) const {
  if (!channel.enabled()) return;
  detail::printHeader(channel, name, "frustum");
  channel.print("  top %.3f\n", top_);
  channel.print("  bot %.3f\n", bottom_);
  channel.print("  lef %.3f\n", left_);
  channel.print("  rig %.3f\n", right_);
  channel.print("  nea %.3f\n", near_);
  channel.print("  far %.3f\n", far_);
}

}  // namespace krGeom
