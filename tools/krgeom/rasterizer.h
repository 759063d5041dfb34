// A small software rasteriser for the render command: every triangle goes through the camera's
// world-to-window conversion, is filled with a depth buffer (pixel centres, top-left rule free:
// a pixel is covered when its centre is inside or on an edge) and shaded by a head light with a
// little ambient light, lit from both sides. Octree leaf boxes can be drawn over the picture.
#pragma once

#include <geom/meshes/compact_mesh.h>
#include <geom/spatial/octree.h>
#include <geom/viewing/camera.h>

#include <cstdint>
#include <string>
#include <vector>

namespace krgeom {

// RGB, 8 bits per channel, rows from the top of the picture.
struct Image {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> rgb;
};

// The colour of pixels no triangle covers.
inline constexpr std::uint8_t kBackground[3] = {245, 245, 245};

// Draws the mesh as the camera sees it into a width x height image (the camera's viewport).
Image renderMesh(const krGeom::CompactMesh& mesh, const krGeom::Camera& camera, int width,
                 int height);
// Draws the edges of every non-empty leaf box of the octree over the image.
void drawOctreeLeaves(const krGeom::Octree& octree, const krGeom::Camera& camera, Image& image);
// Writes the image as a PNG under a temporary name renamed at the end; throws Failure.
void writePng(const Image& image, const std::string& path);

}  // namespace krgeom
