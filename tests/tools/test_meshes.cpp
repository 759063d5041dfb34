#include "test_meshes.h"

#include <cmath>
#include <cstdio>

namespace krgeomtest {

SimpleMesh makeTorus(int rings, int segments) {
  SimpleMesh m;
  const float pi = 3.14159265f;
  for (int i = 0; i < rings; ++i) {
    const float u = 2 * pi * float(i) / float(rings);
    for (int j = 0; j < segments; ++j) {
      const float v = 2 * pi * float(j) / float(segments);
      const float r = 1.0f + 0.35f * std::cos(v);
      m.points.push_back({r * std::cos(u), 0.35f * std::sin(v), r * std::sin(u)});
    }
  }
  for (int i = 0; i < rings; ++i)
    for (int j = 0; j < segments; ++j) {
      const int a = i * segments + j, b = ((i + 1) % rings) * segments + j,
                c = ((i + 1) % rings) * segments + (j + 1) % segments,
                d = i * segments + (j + 1) % segments;
      m.triangles.push_back({a, d, b});
      m.triangles.push_back({b, d, c});
    }
  return m;
}

SimpleMesh makeGrid(int n) {
  SimpleMesh m;
  for (int y = 0; y <= n; ++y)
    for (int x = 0; x <= n; ++x) m.points.push_back({float(x) / float(n), float(y) / float(n), 0});
  for (int y = 0; y < n; ++y)
    for (int x = 0; x < n; ++x) {
      const int a = y * (n + 1) + x, b = a + 1, c = a + n + 2, d = a + n + 1;
      m.triangles.push_back({a, b, c});
      m.triangles.push_back({a, c, d});
    }
  return m;
}

namespace {
std::string line(const char* format, double a, double b, double c) {
  char buf[128];
  std::snprintf(buf, sizeof buf, format, a, b, c);
  return buf;
}
}  // namespace

std::string toObj(const SimpleMesh& mesh) {
  std::string s;
  for (const auto& p : mesh.points) s += line("v %.9g %.9g %.9g\n", p[0], p[1], p[2]);
  for (const auto& t : mesh.triangles)
    s += line("f %.0f %.0f %.0f\n", t[0] + 1, t[1] + 1, t[2] + 1);
  return s;
}

std::string toAsciiPly(const SimpleMesh& mesh) {
  std::string s = "ply\nformat ascii 1.0\nelement vertex " + std::to_string(mesh.points.size()) +
                  "\nproperty float x\nproperty float y\nproperty float z\nelement face " +
                  std::to_string(mesh.triangles.size()) +
                  "\nproperty list uchar int vertex_indices\nend_header\n";
  for (const auto& p : mesh.points) s += line("%.9g %.9g %.9g\n", p[0], p[1], p[2]);
  for (const auto& t : mesh.triangles) s += line("3 %.0f %.0f %.0f\n", t[0], t[1], t[2]);
  return s;
}

}  // namespace krgeomtest
