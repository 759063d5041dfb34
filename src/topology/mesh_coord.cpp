#include <geom/topology/mesh_coord.h>

#include <kr/linear/line.h>

#include <cmath>

namespace krGeom {

namespace {

// Index of the smallest of three squared distances when it is below tolerance²; ties go to
// the lower index. -1 when none qualifies.
int nearestWithin(const double d[3], double tolerance) noexcept {
  const double t2 = tolerance * tolerance;
  for (int i = 0; i < 3; ++i) {
    if (t2 > d[i] && d[i] <= d[(i + 1) % 3] && d[i] <= d[(i + 2) % 3]) return i;
  }
  return -1;
}

bool report(int index, int* out) noexcept {
  if (index < 0) return false;
  if (out) *out = index;
  return true;
}

}  // namespace

// ---- MeshCoordBase ----

krLinear::Point MeshCoordBase::evaluateBase(const krLinear::Point& p0, const krLinear::Point& p1,
                                            const krLinear::Point& p2) const noexcept {
  return {w_[0] * p0.x() + w_[1] * p1.x() + w_[2] * p2.x(),
          w_[0] * p0.y() + w_[1] * p1.y() + w_[2] * p2.y(),
          w_[0] * p0.z() + w_[1] * p1.z() + w_[2] * p2.z()};
}

bool MeshCoordBase::onVertexBase(const krLinear::Point& p0, const krLinear::Point& p1,
                                 const krLinear::Point& p2, double tolerance,
                                 int* corner) const noexcept {
  const krLinear::Point x = evaluateBase(p0, p1, p2);
  const double d[3] = {krLinear::distanceSquared(x, p0), krLinear::distanceSquared(x, p1),
                       krLinear::distanceSquared(x, p2)};
  return report(nearestWithin(d, tolerance), corner);
}

bool MeshCoordBase::onEdgeBase(const krLinear::Point& p0, const krLinear::Point& p1,
                               const krLinear::Point& p2, double tolerance,
                               int* edge) const noexcept {
  const krLinear::Point x = evaluateBase(p0, p1, p2);
  const krLinear::Point nearest[3] = {krLinear::ParamLine(p0, p1).projectBounded(x, 0.0, 1.0),
                                      krLinear::ParamLine(p1, p2).projectBounded(x, 0.0, 1.0),
                                      krLinear::ParamLine(p2, p0).projectBounded(x, 0.0, 1.0)};
  const double d[3] = {krLinear::distanceSquared(x, nearest[0]),
                       krLinear::distanceSquared(x, nearest[1]),
                       krLinear::distanceSquared(x, nearest[2])};
  return report(nearestWithin(d, tolerance), edge);
}

bool MeshCoordBase::setFromPointBase(const krLinear::Point& p0, const krLinear::Point& p1,
                                     const krLinear::Point& p2, const krLinear::Point& x) noexcept {
  const krLinear::Vector n = krLinear::cross(p2 - p1, p0 - p1);
  const double n2 = n.lengthSquared();
  if (n2 < krLinear::epsilon2Tol) return setInvalid();

  if (krLinear::equivalent(x, p0)) {
    setWeights(1.0, 0.0, 0.0);
  } else if (krLinear::equivalent(x, p1)) {
    setWeights(0.0, 1.0, 0.0);
  } else if (krLinear::equivalent(x, p2)) {
    setWeights(0.0, 0.0, 1.0);
  } else {
    const krLinear::Vector a = p0 - x, b = p1 - x, c = p2 - x;
    const krLinear::Vector c0 = krLinear::cross(b, c), c1 = krLinear::cross(c, a);
    const double len = std::sqrt(n2);
    const double w0 = (krLinear::dot(n, c0) < 0.0 ? -1.0 : 1.0) * c0.length() / len;
    const double w1 = (krLinear::dot(n, c1) < 0.0 ? -1.0 : 1.0) * c1.length() / len;
    setWeights(w0, w1, 1.0 - w0 - w1);
  }
  return true;
}

// ---- TopoMeshCoord ----

void TopoMeshCoord::getVertices(TopoMeshVertex corners[3]) const noexcept {
  const TopoMeshEdgeData* h0 = face_.data()->firstEdge;
  corners[0] = h0->vertex;
  corners[1] = h0->next->vertex;
  corners[2] = h0->next->next->vertex;
}

krLinear::Point TopoMeshCoord::evaluate() const noexcept {
  TopoMeshVertex v[3];
  getVertices(v);
  return evaluateBase(v[0].point(), v[1].point(), v[2].point());
}

bool TopoMeshCoord::setFromPoint(TopoMeshFace f, const krLinear::Point& x) noexcept {
  face_ = f;
  TopoMeshVertex v[3];
  getVertices(v);
  return setFromPointBase(v[0].point(), v[1].point(), v[2].point(), x);
}

bool TopoMeshCoord::onVertex(double tolerance, TopoMeshVertex& vertex) const noexcept {
  TopoMeshVertex v[3];
  getVertices(v);
  int corner;
  if (!onVertexBase(v[0].point(), v[1].point(), v[2].point(), tolerance, &corner)) return false;
  vertex = v[corner];
  return true;
}

bool TopoMeshCoord::onEdge(double tolerance, TopoMeshEdge& edge) const noexcept {
  TopoMeshVertex v[3];
  getVertices(v);
  int side;
  if (!onEdgeBase(v[0].point(), v[1].point(), v[2].point(), tolerance, &side)) return false;
  TopoMeshEdgeData* h0 = face_.data()->firstEdge;
  edge = side == 0 ? h0 : side == 1 ? h0->next : h0->prev;
  return true;
}

}  // namespace krGeom
