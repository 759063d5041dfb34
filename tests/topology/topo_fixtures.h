// Small named half-edge meshes for tests, and helpers that state expectations about structure.
// Builders add to a mesh the caller owns (so handles stay valid) and return the handles of what
// they made, in creation order.
#pragma once

#include <geom/topology.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

// Runs the mesh's invariant checker; the message names the first broken invariant.
#define EXPECT_MESH_VALID(mesh) EXPECT_STREQ((mesh).findBrokenInvariant().c_str(), "")

namespace topofix {

using krGeom::TopoMesh;
using krGeom::TopoMeshEdge;
using krGeom::TopoMeshFace;
using krGeom::TopoMeshVertex;
using Corners = std::vector<TopoMeshVertex>;

inline TopoMeshEdge edge(TopoMeshVertex a, TopoMeshVertex b) {
  return TopoMesh::findEdge(a, b);
}

// ---- Named meshes ----

// One triangle a (0, 0, 0), b (1, 0, 0), c (0, 1, 0) with no neighbours.
struct Triangle {
  TopoMeshVertex a, b, c;
  TopoMeshFace face;
};
inline Triangle buildTriangle(TopoMesh& m) {
  Triangle t{m.allocVertex({0, 0, 0}), m.allocVertex({1, 0, 0}), m.allocVertex({0, 1, 0}), {}};
  t.face = m.allocTriangle(t.a, t.b, t.c);
  return t;
}

// The unit square's corners a, b, c, d, counter-clockwise from the origin; as a strip, the two
// triangles (a, b, c) and (a, c, d) sharing the edge a-c; as a quad, one `face` a, b, c, d.
struct Square {
  TopoMeshVertex a, b, c, d;
  TopoMeshFace first, second, face;
};
using Strip2 = Square;
using Quad = Square;
inline Square square(TopoMesh& m) {
  return {m.allocVertex({0, 0, 0}),
          m.allocVertex({1, 0, 0}),
          m.allocVertex({1, 1, 0}),
          m.allocVertex({0, 1, 0}),
          {},
          {},
          {}};
}
inline Strip2 buildStrip2(TopoMesh& m) {
  Strip2 s = square(m);
  s.first = m.allocTriangle(s.a, s.b, s.c);
  s.second = m.allocTriangle(s.a, s.c, s.d);
  return s;
}
inline Quad buildQuad(TopoMesh& m) {
  Quad q = square(m);
  q.face = m.allocQuad(q.a, q.b, q.c, q.d);
  return q;
}

// Six triangles (centre, ring[i], ring[i+1]) closing around an interior centre vertex.
struct Fan6 {
  TopoMeshVertex centre, ring[6];
  TopoMeshFace faces[6];
};
inline Fan6 buildFan6(TopoMesh& m) {
  Fan6 fan{m.allocVertex({0, 0, 0}), {}, {}};
  for (int i = 0; i < 6; ++i)
    fan.ring[i] = m.allocVertex({std::cos(i * M_PI / 3), std::sin(i * M_PI / 3), 0});
  for (int i = 0; i < 6; ++i)
    fan.faces[i] = m.allocTriangle(fan.centre, fan.ring[i], fan.ring[(i + 1) % 6]);
  return fan;
}

// A closed octahedron: poles top and bottom, equator e[0..3], eight outward triangles.
struct Octahedron {
  TopoMeshVertex top, bottom, e[4];
  TopoMeshFace faces[8];  // 0..3 around the top, 4..7 around the bottom
};
inline Octahedron buildOctahedron(TopoMesh& m) {
  Octahedron o{m.allocVertex({0, 0, 1}), m.allocVertex({0, 0, -1}), {}, {}};
  for (int i = 0; i < 4; ++i) o.e[i] = m.allocVertex({(1 - i) % 2 * 1.0, (2 - i) % 2 * 1.0, 0});
  for (int i = 0; i < 4; ++i) o.faces[i] = m.allocTriangle(o.top, o.e[i], o.e[(i + 1) % 4]);
  for (int i = 0; i < 4; ++i) o.faces[4 + i] = m.allocTriangle(o.bottom, o.e[(i + 1) % 4], o.e[i]);
  return o;
}

// rows x cols unit quads; vertex (r, c) is at (c, r).
struct QuadGrid {
  int cols = 0;
  std::vector<TopoMeshVertex> vertices;
  std::vector<TopoMeshFace> faces;
  TopoMeshVertex at(int r, int c) const { return vertices[r * (cols + 1) + c]; }
};
inline QuadGrid buildQuadGrid(TopoMesh& m, int rows, int cols) {
  QuadGrid g{cols, {}, {}};
  for (int r = 0; r <= rows; ++r)
    for (int c = 0; c <= cols; ++c) g.vertices.push_back(m.allocVertex({double(c), double(r), 0}));
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < cols; ++c)
      g.faces.push_back(
          m.allocQuad(g.at(r, c), g.at(r, c + 1), g.at(r + 1, c + 1), g.at(r + 1, c)));
  return g;
}

// A closed torus of rows x cols quads (at least 3 x 3), each split into two triangles along the
// same diagonal: every vertex has valence 6. Vertex (r, c) is vertices[r * cols + c], placed at
// (c, r, 0): only the topology is a torus. While faces are added some vertices have two separate
// fans, where the pairing search (a fan walk) cannot see the partner; those edges are paired at
// the end.
inline std::vector<TopoMeshVertex> buildTorus(TopoMesh& m, int rows, int cols) {
  std::vector<TopoMeshVertex> vs;
  for (int i = 0; i < rows * cols; ++i)
    vs.push_back(m.allocVertex({i % cols * 1.0, i / cols * 1.0, 0}));
  auto at = [&](int r, int c) { return vs[(r % rows) * cols + (c % cols)]; };
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < cols; ++c) {
      m.allocTriangle(at(r, c), at(r, c + 1), at(r + 1, c + 1));
      m.allocTriangle(at(r, c), at(r + 1, c + 1), at(r + 1, c));
    }
  std::map<std::pair<TopoMeshVertex, TopoMeshVertex>, TopoMeshEdge> open;
  for (TopoMeshEdge e = m.firstEdge(); e; e = e.nextInMesh())
    if (!e.twin()) open[{e.v1(), e.v2()}] = e;
  for (auto [ends, e] : open)
    if (!e.twin()) m.setTwins(e, open.at({ends.second, ends.first}));
  return vs;
}

// ---- Structure ----

// The corners of a face in loop order, starting at its firstEdge.
inline Corners loop(TopoMeshFace f) {
  Corners corners;
  TopoMeshEdge h = f.firstEdge();
  do corners.push_back(h.v1());
  while ((h = h.next()) != f.firstEdge());
  return corners;
}

// The records of each list in list order.
template <class T>
std::vector<T> chain(T r) {
  std::vector<T> out;
  for (; r; r = r.nextInMesh()) out.push_back(r);
  return out;
}
inline std::vector<TopoMeshFace> faces(const TopoMesh& mesh) {
  return chain(mesh.firstFace());
}

// A valid mesh with these record counts (half-edges count singly).
inline ::testing::AssertionResult shape(const TopoMesh& m, int vertices, int edges, int faces) {
  const krString::CString broken = m.findBrokenInvariant();
  if (broken.empty() && m.numVertices() == vertices && m.numEdges() == edges &&
      m.numFaces() == faces)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << broken.c_str() << " counts " << m.numVertices() << ", "
                                       << m.numEdges() << ", " << m.numFaces();
}

// True when the mesh has a face for each loop, up to rotation.
inline bool hasFaces(const TopoMesh& mesh, const std::vector<Corners>& loops) {
  return std::all_of(loops.begin(), loops.end(), [&](Corners want) {
    for (std::size_t s = 0; s < want.size(); ++s) {
      for (TopoMeshFace f : faces(mesh))
        if (loop(f) == want) return true;
      std::rotate(want.begin(), want.begin() + 1, want.end());
    }
    return false;
  });
}

// Tags a half-edge (and, through setMetadata, its twin) with an int in slot `slot`.
inline void tag(TopoMeshEdge e, int value, int slot = 0) {
  e.setMetadata(slot, krGeom::BlindData(value));
}
// The int tag in `slot`, or -1 when the slot does not hold an int.
inline int tagOf(TopoMeshEdge e, int slot = 0) {
  krGeom::BlindData b = e.getMetadata(slot);
  return b.type() == krGeom::BlindData::eInt ? b.data().i : -1;
}

}  // namespace topofix
