#include "rasterizer.h"

#include "failure.h"
#include "output_file.h"

#include <stb_image_write.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace krgeom {
namespace {

struct WindowPoint {
  float x, y, depth;
  bool inView;
};

// Pixel row of a window y (window y grows upwards from the bottom edge).
inline float rowOf(float windowY, int height) {
  return float(height) - windowY;
}

void fillTriangle(const WindowPoint* p[3], const std::uint8_t colour[3], Image& image,
                  std::vector<float>& depth) {
  const int w = image.width, h = image.height;
  // Corners in pixel space: x to the right, y down.
  const float x0 = p[0]->x, y0 = rowOf(p[0]->y, h), x1 = p[1]->x, y1 = rowOf(p[1]->y, h),
              x2 = p[2]->x, y2 = rowOf(p[2]->y, h);
  const float area = (x1 - x0) * (y2 - y0) - (x2 - x0) * (y1 - y0);
  if (area == 0.0f || !std::isfinite(area)) return;
  // Clamped in float first, so far-off corners never overflow the conversion to int.
  const auto lowPixel = [](float v, int size) {
    return int(std::floor(std::clamp(v, 0.0f, float(size - 1))));
  };
  const auto highPixel = [](float v, int size) {
    return int(std::ceil(std::clamp(v, 0.0f, float(size - 1))));
  };
  const int minX = lowPixel(std::min({x0, x1, x2}), w), maxX = highPixel(std::max({x0, x1, x2}), w);
  const int minY = lowPixel(std::min({y0, y1, y2}), h), maxY = highPixel(std::max({y0, y1, y2}), h);
  const float inv = 1.0f / area;
  for (int j = minY; j <= maxY; ++j) {
    const float py = float(j) + 0.5f;
    for (int i = minX; i <= maxX; ++i) {
      const float px = float(i) + 0.5f;
      // Barycentric weights, signed so that both windings count as inside.
      const float b0 = ((x1 - px) * (y2 - py) - (x2 - px) * (y1 - py)) * inv;
      const float b1 = ((x2 - px) * (y0 - py) - (x0 - px) * (y2 - py)) * inv;
      const float b2 = 1.0f - b0 - b1;
      if (b0 < 0.0f || b1 < 0.0f || b2 < 0.0f) continue;
      const float z = b0 * p[0]->depth + b1 * p[1]->depth + b2 * p[2]->depth;
      float& stored = depth[std::size_t(j) * w + i];
      if (z >= stored) continue;
      stored = z;
      std::uint8_t* out = &image.rgb[(std::size_t(j) * w + i) * 3];
      out[0] = colour[0];
      out[1] = colour[1];
      out[2] = colour[2];
    }
  }
}

void drawLine(float x0, float y0, float x1, float y1, Image& image) {
  if (!std::isfinite(x0) || !std::isfinite(y0) || !std::isfinite(x1) || !std::isfinite(y1)) return;
  const int steps = int(std::ceil(std::max(std::abs(x1 - x0), std::abs(y1 - y0)))) + 1;
  if (steps > 1 << 16) return;  // a segment reaching far outside the picture
  for (int s = 0; s <= steps; ++s) {
    const float t = float(s) / float(steps);
    const int i = int(std::floor(x0 + (x1 - x0) * t)), j = int(std::floor(y0 + (y1 - y0) * t));
    if (i < 0 || j < 0 || i >= image.width || j >= image.height) continue;
    std::uint8_t* out = &image.rgb[(std::size_t(j) * image.width + i) * 3];
    // Half-transparent blue, so the mesh stays visible under dense leaves.
    out[0] = std::uint8_t((out[0] + 40) / 2);
    out[1] = std::uint8_t((out[1] + 90) / 2);
    out[2] = std::uint8_t((out[2] + 200) / 2);
  }
}

void drawLeaves(krGeom::OctreeIterator it, const krGeom::Camera& camera, Image& image) {
  if (it.isLeaf()) {
    int first = 0, end = 0;
    it.getVertexRange(first, end);
    if (first == end) return;
    float corners[8][2];
    for (int c = 0; c < 8; ++c) {
      krLinear::PointFlt p;
      it.getBox().getPoint(c, p);
      krLinear::Point window;
      if (!camera.project(krLinear::Point(p.x(), p.y(), p.z()), window)) return;
      corners[c][0] = float(window.x());
      corners[c][1] = rowOf(float(window.y()), image.height);
    }
    // Corners are numbered by their bits (x, y, z): an edge joins corners one bit apart.
    for (int c = 0; c < 8; ++c)
      for (int bit = 1; bit < 8; bit <<= 1)
        if (!(c & bit))
          drawLine(corners[c][0], corners[c][1], corners[c | bit][0], corners[c | bit][1], image);
    return;
  }
  for (int octant = 0; octant < 8; ++octant) {
    krGeom::OctreeIterator child = it;
    if (child.descend(octant)) drawLeaves(child, camera, image);
  }
}

}  // namespace

Image renderMesh(const krGeom::CompactMesh& mesh, const krGeom::Camera& camera, int width,
                 int height) {
  Image image;
  image.width = width;
  image.height = height;
  image.rgb.resize(std::size_t(width) * height * 3);
  for (std::size_t i = 0; i < image.rgb.size(); i += 3)
    std::copy(kBackground, kBackground + 3, &image.rgb[i]);
  std::vector<float> depth(std::size_t(width) * height, std::numeric_limits<float>::infinity());

  const int n = mesh.getNumVertices();
  std::vector<WindowPoint> window(n);
  for (int i = 0; i < n; ++i) {
    krLinear::Point w;
    window[i].inView = camera.project(mesh.getVertices()[i].asPoint(), w);
    window[i].x = float(w.x());
    window[i].y = float(w.y());
    window[i].depth = float(w.z());
  }
  // A head light a little above and to the left of the eye.
  krLinear::Vector light = -krLinear::Vector(camera.getViewVector()) +
                           0.35 * krLinear::Vector(camera.getUpVector()) -
                           0.25 * krLinear::Vector(camera.getRightVector());
  light.normalise();

  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const krGeom::MeshTriangle& tri = mesh.getTriangles()[t];
    const WindowPoint* p[3] = {&window[tri[0]], &window[tri[1]], &window[tri[2]]};
    if (!p[0]->inView || !p[1]->inView || !p[2]->inView) continue;
    const krLinear::Point a = mesh.getVertices()[tri[0]].asPoint();
    krLinear::Vector normal = krLinear::cross(mesh.getVertices()[tri[1]].asPoint() - a,
                                              mesh.getVertices()[tri[2]].asPoint() - a);
    normal.normalise();
    const double shade = 0.18 + 0.82 * std::abs(krLinear::dot(normal, light));
    const std::uint8_t colour[3] = {std::uint8_t(220 * shade), std::uint8_t(190 * shade),
                                    std::uint8_t(150 * shade)};
    fillTriangle(p, colour, image, depth);
  }
  return image;
}

void drawOctreeLeaves(const krGeom::Octree& octree, const krGeom::Camera& camera, Image& image) {
  drawLeaves(octree.getRoot(), camera, image);
}

void writePng(const Image& image, const std::string& path) {
  OutputFile output(path);
  if (!stbi_write_png(output.tempPath().c_str(), image.width, image.height, 3, image.rgb.data(),
                      image.width * 3))
    throw Failure(path, "cannot write the PNG file");
  output.commit();
}

}  // namespace krgeom
