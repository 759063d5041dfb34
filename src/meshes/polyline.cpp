#include <geom/meshes/polyline.h>

namespace krGeom {

// --- Polyline ---

Polyline::~Polyline() = default;

void Polyline::update() const {
  if (stale() && !vertices_.empty()) updateBox(1);
}

// --- Polyline2d ---

Polyline2d::~Polyline2d() = default;

void Polyline2d::appendVertex(const krLinear::Point2& p) {
  if (vertices_.empty()) {
    vertices_.push_back({p, 0.0});
  } else {
    if (krLinear::equivalent(p, vertices_.back().position, krLinear::epsilonTol)) return;
    for (std::size_t i = 1; i < vertices_.size(); ++i)
      if (krLinear::equivalent(p, vertices_[i].position, krLinear::epsilonTol)) return;
    vertices_.push_back({p, vertices_.back().parameter + 1.0});
  }
  modified();
}

void Polyline2d::makeUniform() {
  for (std::size_t i = 0; i < vertices_.size(); ++i)
    vertices_[i].parameter = static_cast<double>(i);
}

void Polyline2d::update() const {
  if (!stale() || vertices_.empty()) return;
  const int n = getNumVertices();
  if (order_ == eUnknownOrder && n >= 2) {
    for (int i = 1; i + 1 < n; ++i) {
      const krLinear::Point2& a = vertices_[i - 1].position;
      const krLinear::Point2& b = vertices_[i].position;
      const krLinear::Point2& c = vertices_[i + 1].position;
      if (krLinear::areCollinear(a, b, c, krLinear::epsilonTol)) continue;
      const double z = krLinear::cross(b - a, c - b);
      if (z > 0.0)
        order_ = order_ == eUnknownOrder ? eCounterClockwise
                 : order_ == eClockwise  ? eMixed
                                         : order_;
      else
        order_ = order_ == eUnknownOrder       ? eClockwise
                 : order_ == eCounterClockwise ? eMixed
                                               : order_;
    }
  }
  updateBox(3);
}

}  // namespace krGeom
