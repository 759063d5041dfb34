// Fitting a Camera to a mesh's bounding box for the render command (and for tests that check
// the picture against the camera).
//
// The camera looks at the box centre from the direction given by azimuth (degrees about the y
// axis, 0 looking from +z) and elevation (degrees above the xz-plane), with y up (z up when the
// view is within 1 degree of vertical). The box's circumscribed sphere, enlarged by 5%, fills the
// smaller of the two angles of view (30 degrees vertically in perspective) or the smaller side
// of the orthographic frame. The depth range comes from Camera::setNearFar(box).
#pragma once

#include <geom/spatial/bounding_box.h>
#include <geom/viewing/camera.h>

namespace krgeom {

struct ViewSettings {
  int width = 800;
  int height = 600;
  double azimuthDegrees = 30.0;
  double elevationDegrees = 20.0;
  bool orthographic = false;
};

// Sets up `camera` (view, lens, viewport, depth range) and calls update().
void fitCamera(const krGeom::BoundingBox& box, const ViewSettings& view, krGeom::Camera& camera);

}  // namespace krgeom
