#include "camera_fit.h"

#include <geom/viewing/angle_aspect.h>
#include <geom/viewing/eye_space_frustum.h>
#include <geom/viewing/viewport.h>

#include <algorithm>
#include <cmath>

namespace krgeom {

void fitCamera(const krGeom::BoundingBox& box, const ViewSettings& view, krGeom::Camera& camera) {
  constexpr double kPi = 3.14159265358979323846;
  constexpr double kVerticalAngle = 30.0 * kPi / 180.0;
  const krLinear::PointFlt c = box.center();
  const krLinear::Point centre(c.x(), c.y(), c.z());
  const double radius = std::max(1.05 * 0.5 * double(box.diagonalLength()), 1e-6);
  const double aspect = double(view.width) / double(view.height);

  const double az = view.azimuthDegrees * kPi / 180.0, el = view.elevationDegrees * kPi / 180.0;
  const krLinear::Vector towardEye(std::cos(el) * std::sin(az), std::sin(el),
                                   std::cos(el) * std::cos(az));
  const bool vertical = std::abs(std::cos(el)) < std::sin(kPi / 180.0);
  const krLinear::Normal up = vertical ? krLinear::Normal::zAxis() : krLinear::Normal::yAxis();

  if (view.orthographic) {
    // Far enough back that nothing of the box is behind the eye.
    camera.setWorldToEye(centre, centre + towardEye * (2.0 * radius), up);
    const double halfHeight = aspect >= 1.0 ? radius : radius / aspect;
    const double halfWidth = halfHeight * aspect;
    krGeom::EyeSpaceFrustum frustum;
    frustum.setOrthographic(true);
    frustum.setFrame(krLinear::Tuple2(-halfWidth, -halfHeight),
                     krLinear::Tuple2(halfWidth, halfHeight));
    camera.setFrustum(frustum);
  } else {
    const double horizontalAngle = 2.0 * std::atan(std::tan(kVerticalAngle / 2) * aspect);
    const double fitAngle = std::min(kVerticalAngle, horizontalAngle);
    camera.setWorldToEye(centre, centre + towardEye * (radius / std::sin(fitAngle / 2)), up);
    krGeom::AngleAspect lens;
    lens.setAngleOfViewRad(kVerticalAngle);
    lens.setAspectRatio(aspect);
    camera.setFrustum(lens);
  }
  krGeom::Viewport viewport;
  viewport.setSize(view.width, view.height);
  camera.setViewport(viewport);
  camera.setNearFar(box);
  camera.update();
}

}  // namespace krgeom
