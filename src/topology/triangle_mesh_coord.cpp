// MeshCoordBase::projectBase and MeshCoord, the coordinate in a triangle of an indexed mesh.
#include <geom/foundation/records.h>
#include <geom/meshes/compact_mesh.h>
#include <geom/topology/mesh_coord.h>

#include <kr/linear/line.h>
#include <kr/linear/plane.h>

namespace krGeom {

using krLinear::Point;

bool MeshCoordBase::projectBase(const Point& p0, const Point& p1, const Point& p2,
                                const Point& x) noexcept {
  const krLinear::Vector n = krLinear::cross(p2 - p1, p0 - p1);
  if (n.lengthSquared() < krLinear::epsilon2Tol) return setInvalid();
  const Point y = krLinear::project(x, krLinear::Plane(p0, krLinear::Normal(n)));
  setFromPointBase(p0, p1, p2, y);
  const bool a = w0() <= 0.0, b = w1() <= 0.0, c = w2() <= 0.0;
  if (a && b) {
    setWeights(0.0, 0.0, 1.0);
    return true;
  }
  if (a && c) {
    setWeights(0.0, 1.0, 0.0);
    return true;
  }
  if (!a && b && c) {
    setWeights(1.0, 0.0, 0.0);
    return true;
  }
  // One non-positive weight: the nearest point of the opposite side.
  Point z;
  if (a)
    z = krLinear::ParamLine(p1, p2).projectBounded(y, 0.0, 1.0);
  else if (b)
    z = krLinear::ParamLine(p0, p2).projectBounded(y, 0.0, 1.0);
  else if (c)
    z = krLinear::ParamLine(p0, p1).projectBounded(y, 0.0, 1.0);
  else
    return true;
  setFromPointBase(p0, p1, p2, z);
  return true;
}

namespace {

// The record forms are the flat forms' layout.
static_assert(sizeof(MeshVertex) == 3 * sizeof(float) && sizeof(MeshTriangle) == 3 * sizeof(int));
const float* flat(const MeshVertex* v) {
  return reinterpret_cast<const float*>(v);
}
const int* flat(const MeshTriangle* t) {
  return reinterpret_cast<const int*>(t);
}

}  // namespace

void MeshCoord::getPoints(Point* corners, const float* vertices, const int* triangles) const {
  const int* t = triangles + 3 * static_cast<std::ptrdiff_t>(triangle_);
  for (int k = 0; k < 3; ++k) {
    const float* v = vertices + 3 * static_cast<std::ptrdiff_t>(t[k]);
    corners[k] = Point(v[0], v[1], v[2]);
  }
}

Point MeshCoord::evaluate(const float* vertices, const int* triangles) const {
  Point p[3];
  getPoints(p, vertices, triangles);
  return evaluateBase(p[0], p[1], p[2]);
}

bool MeshCoord::setFromPoint(int triangle, const float* vertices, const int* triangles,
                             const Point& x) {
  triangle_ = triangle;
  Point p[3];
  getPoints(p, vertices, triangles);
  return setFromPointBase(p[0], p[1], p[2], x);
}

bool MeshCoord::project(int triangle, const float* vertices, const int* triangles, const Point& x) {
  triangle_ = triangle;
  Point p[3];
  getPoints(p, vertices, triangles);
  return projectBase(p[0], p[1], p[2], x);
}

bool MeshCoord::onVertex(const float* vertices, const int* triangles, double tolerance,
                         int* corner) const {
  Point p[3];
  getPoints(p, vertices, triangles);
  return onVertexBase(p[0], p[1], p[2], tolerance, corner);
}

bool MeshCoord::onEdge(const float* vertices, const int* triangles, double tolerance,
                       int* edge) const {
  Point p[3];
  getPoints(p, vertices, triangles);
  return onEdgeBase(p[0], p[1], p[2], tolerance, edge);
}

bool MeshCoord::isInterior(const float* vertices, const int* triangles, double tolerance) const {
  if (onEdge(vertices, triangles, tolerance, nullptr)) return false;
  return !(w0() < 0.0 || w1() < 0.0 || w2() < 0.0);
}

bool MeshCoord::isExterior(const float* vertices, const int* triangles, double tolerance) const {
  if (onEdge(vertices, triangles, tolerance, nullptr)) return false;
  return !(w0() >= 0.0) || !(w1() >= 0.0) || !(w2() >= 0.0);
}

// The record forms.
Point MeshCoord::evaluate(const MeshVertex* v, const MeshTriangle* t) const {
  return evaluate(flat(v), flat(t));
}
bool MeshCoord::setFromPoint(int triangle, const MeshVertex* v, const MeshTriangle* t,
                             const Point& x) {
  return setFromPoint(triangle, flat(v), flat(t), x);
}
bool MeshCoord::project(int triangle, const MeshVertex* v, const MeshTriangle* t, const Point& x) {
  return project(triangle, flat(v), flat(t), x);
}
bool MeshCoord::onVertex(const MeshVertex* v, const MeshTriangle* t, double tolerance,
                         int* corner) const {
  return onVertex(flat(v), flat(t), tolerance, corner);
}
bool MeshCoord::onEdge(const MeshVertex* v, const MeshTriangle* t, double tolerance,
                       int* edge) const {
  return onEdge(flat(v), flat(t), tolerance, edge);
}
bool MeshCoord::isInterior(const MeshVertex* v, const MeshTriangle* t, double tolerance) const {
  return isInterior(flat(v), flat(t), tolerance);
}
bool MeshCoord::isExterior(const MeshVertex* v, const MeshTriangle* t, double tolerance) const {
  return isExterior(flat(v), flat(t), tolerance);
}

}  // namespace krGeom
