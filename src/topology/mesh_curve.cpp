#include <geom/meshes/compact_mesh.h>
#include <geom/topology/mesh_curve.h>

#include <vector>

namespace krGeom {

MeshCurve::~MeshCurve() = default;

kr::Reference<Polyline> MeshCurve::asPolyline(const CompactMesh& mesh) const {
  if (coords_.size() < 2) return {};
  const MeshVertex* vertices = mesh.getVertices();
  const MeshTriangle* triangles = mesh.getTriangles();
  std::vector<krLinear::Point> points;
  points.reserve(coords_.size() + 1);
  for (const MeshCoord& c : coords_) points.push_back(c.evaluate(vertices, triangles));
  if (closed_) points.push_back(points.front());
  kr::Reference<Polyline> line(new Polyline());
  line->initializeUniform(static_cast<int>(points.size()), points.data());
  return line;
}

}  // namespace krGeom
