#include <geom/topology/topo_mesh_point.h>

#include <kr/linear/line.h>

namespace krGeom {

namespace {

// The position of e within the loop of f: 0 for f's firstEdge, 1 for the next one, else 2.
int sideIndex(TopoMeshEdge e, TopoMeshFace f) noexcept {
  const TopoMeshEdgeData* h0 = f.data()->firstEdge;
  if (e.data() == h0) return 0;
  if (e.data() == h0->next) return 1;
  return 2;
}

// True when f's loop has a half-edge starting at v.
bool loopHolds(TopoMeshFace f, TopoMeshVertex v) noexcept {
  return f && f.adjacent(v);
}

}  // namespace

TopoMeshPoint::TopoMeshPoint(TopoMeshVertex v, TopoMeshFace f)
    : vertex_(v), point_(v.point()), type_(eVertexPoint) {
  if (!f && v.data()->firstEdge) f = v.data()->firstEdge->face;
  if (f) coord_.setFromPoint(f, point_);
}

TopoMeshPoint::TopoMeshPoint(TopoMeshEdge e, TopoMeshFace f, double a, double b)
    : edge_(e), type_(eEdgePoint) {
  coord_.setFace(f);
  switch (sideIndex(e, f)) {
    case 0:
      coord_.setWeights(a, b, 0.0);
      break;
    case 1:
      coord_.setWeights(0.0, a, b);
      break;
    default:
      coord_.setWeights(b, 0.0, a);
      break;
  }
  point_ = coord_.evaluate();
}

TopoMeshPoint::TopoMeshPoint(const TopoMeshCoord& c, double tolerance) : coord_(c) {
  TopoMeshVertex v;
  TopoMeshEdge e;
  if (c.onVertex(tolerance, v)) {
    type_ = eVertexPoint;
    vertex_ = v;
    point_ = v.point();
    coord_.setFromPoint(c.face(), point_);
  } else if (c.onEdge(tolerance, e)) {
    type_ = eEdgePoint;
    edge_ = e;
    point_ =
        krLinear::ParamLine(e.v1().point(), e.v2().point()).projectBounded(c.evaluate(), 0.0, 1.0);
    coord_.setFromPoint(c.face(), point_);
  } else {
    type_ = eFacePoint;
    point_ = c.evaluate();
  }
}

TopoMeshPoint::~TopoMeshPoint() = default;

void TopoMeshPoint::getEdgeWeights(double& a, double& b) const noexcept {
  a = coord_.weight(sideIndex(edge_, coord_.face()));
  b = 1.0 - a;
}

bool TopoMeshPoint::adjacent(TopoMeshFace f) const noexcept {
  switch (type_) {
    case eVertexPoint:
      return loopHolds(f, vertex_);
    case eEdgePoint:
      return edge_.face() == f || (edge_.twin() && edge_.twin().face() == f);
    case eFacePoint:
      return coord_.face() == f;
  }
  return false;
}

TopoMeshFace TopoMeshPoint::adjacent(const TopoMeshPoint& other) const noexcept {
  if (type_ == eFacePoint) return other.adjacent(coord_.face()) ? coord_.face() : TopoMeshFace();
  if (other.type_ == eFacePoint) return other.adjacent(*this);
  if (type_ == eVertexPoint && other.type_ == eVertexPoint) return vertex_.adjacent(other.vertex_);
  if (type_ != other.type_) {
    const TopoMeshVertex v = type_ == eVertexPoint ? vertex_ : other.vertex_;
    const TopoMeshEdge e = type_ == eEdgePoint ? edge_ : other.edge_;
    if (loopHolds(e.face(), v)) return e.face();
    if (e.twin() && loopHolds(e.twin().face(), v)) return e.twin().face();
    return TopoMeshFace();
  }
  // Two edge points: the first face of this edge (its own, then its twin's) the other touches.
  if (edge_ == other.edge_) return edge_.face();
  if (other.adjacent(edge_.face())) return edge_.face();
  if (edge_.twin() && other.adjacent(edge_.twin().face())) return edge_.twin().face();
  return TopoMeshFace();
}

bool TopoMeshPoint::equivalent(const TopoMeshPoint& other) const noexcept {
  if (type_ != other.type_) return false;
  switch (type_) {
    case eVertexPoint:
      return vertex_ == other.vertex_;
    case eEdgePoint:
      return edge_ == other.edge_ || (edge_.twin() && edge_.twin() == other.edge_);
    case eFacePoint:
      return false;
  }
  return false;
}

bool TopoMeshPoint::onBoundary() const noexcept {
  if (vertex_) return vertex_.onBoundary();
  if (edge_) return !edge_.twin();
  return false;
}

const char* TopoMeshPoint::typeName() const noexcept {
  switch (type_) {
    case eVertexPoint:
      return "vertex";
    case eEdgePoint:
      return "edge";
    case eFacePoint:
      return "face";
  }
  return "<none>";
}

krString::CString TopoMeshPoint::asString() const {
  switch (type_) {
    case eVertexPoint:
      return krString::CString::format("vertex(%p)", static_cast<const void*>(vertex_.data()));
    case eEdgePoint:
      return krString::CString::format("edge(%p,%p)", static_cast<const void*>(edge_.v1().data()),
                                       static_cast<const void*>(edge_.v2().data()));
    case eFacePoint: {
      TopoMeshVertex v[3];
      coord_.getVertices(v);
      return krString::CString::format("face(%p,%p,%p)", static_cast<const void*>(v[0].data()),
                                       static_cast<const void*>(v[1].data()),
                                       static_cast<const void*>(v[2].data()));
    }
  }
  return krString::CString();
}

}  // namespace krGeom
