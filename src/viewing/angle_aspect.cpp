#include <geom/viewing/angle_aspect.h>
#include <geom/viewing/eye_space_frustum.h>

#include "debug_print.h"
#include "perspective_depth.h"

#include <cmath>

namespace krGeom {

constinit const double defaultAngleOfViewRad = krLinear::toRadians(55.0);

namespace {

// degreeTol in radians, computed on first use (function-local statics are thread-safe).
double angleTolerance() {
  static const double tol = krLinear::toRadians(krLinear::degreeTol);
  return tol;
}

}  // namespace

double getAspectRatio(const krLinear::ProjMatrix& m) {
  return m(1, 1) / m(0, 0);
}

double getVerticalAngleRadians(const krLinear::ProjMatrix& m) {
  return 2.0 * std::atan(1.0 / m(1, 1));
}

double AngleAspect::getHeightAtDepth(double d) const {
  return 2.0 * std::tan(angle_ / 2.0) * d;
}

void AngleAspect::getMatrix(krLinear::ProjMatrix& m, bool infiniteFar) const {
  m.setZero();
  const double f = 1.0 / std::tan(angle_ / 2.0);
  m(0, 0) = f / aspect_;
  m(1, 1) = f;
  m(2, 3) = -1.0;
  detail::setPerspectiveDepth(m, near_, far_, infiniteFar);
}

void AngleAspect::getEyeSpaceFrustum(EyeSpaceFrustum& out) const {
  const double h = std::tan(angle_ / 2.0) * near_;
  const double w = h * aspect_;
  out.setOrthographic(false);
  out.setDepthRange(near_, far_, false);
  out.setFrame({-w, -h}, {w, h});
}

bool AngleAspect::operator==(const AngleAspect& o) const {
  return std::fabs(angle_ - o.angle_) < angleTolerance() &&
         std::fabs(aspect_ - o.aspect_) < krLinear::epsilonTol &&
         std::fabs(near_ - o.near_) < krLinear::epsilonTol &&
         std::fabs(far_ - o.far_) < krLinear::epsilonTol;
}

void AngleAspect::debugPrint(krOS::DebugChannel& channel, const char* name) const {
  if (!channel.enabled()) return;
  detail::printHeader(channel, name, "AngleAspect");
  // The second line takes the name as it is; a null one prints as the C library prints it.
  channel.print("%s lens is\n", name ? name : "(null)");
  channel.print("  aov %.3f\n", angle_);
  channel.print("  asp %.3f\n", aspect_);
  channel.print("  nea %.3f\n", near_);
  channel.print("  far %.3f\n", far_);
}

}  // namespace krGeom
