// krGeom::Polyline and krGeom::Polyline2d: reference-counted parametric polylines, evaluated,
// measured and searched by parameter; Polyline2d adds appending and a turning-order test.
//
//   kr::Reference<krGeom::Polyline> line(new krGeom::Polyline());
//   line->initializeArcLength(n, points);        // parameters: cumulative chord lengths
//   krLinear::Point p = line->eval(0.5 * line->getDomain().upper());
//   double part = line->getLength(0.25, 0.75);   // arc length over a parameter interval
//
// Parameters are expected to be non-decreasing; searches are binary (logarithmic) and evaluation
// allocates nothing. With no vertices, getDomain is the empty range, eval the origin and the
// bounding box empty; with one vertex, findSpan is 0 and getInterpolants gives weights 1 and 0.
// The bounding box, the closed flag and (2D) the turning order are cached and recomputed when
// stale; call modified() after editing vertices in place. One thread at a time.
#pragma once

#include <geom/export.h>
#include <kr/containers.h>
#include <kr/linear.h>
#include <kr/reference.h>

#include <cstdint>
#include <utility>

namespace krGeom {

namespace detail {

// What Polyline and Polyline2d share; P is the point type, R the range type of the box.
template <class P, class R>
class PolylineBase : public kr::ReferenceCount {
 public:
  // A vertex: its position and its parameter.
  struct Vertex {
    P position;
    double parameter = 0.0;
  };

  // --- Construction (inherited by Polyline and Polyline2d) ---
  PolylineBase(int n, const Vertex* vertices) { initialize(n, vertices); }
  PolylineBase(int n, const P* points, const double* parameters) {
    initialize(n, points, parameters);
  }
  PolylineBase(const kr::vector<P>& points, const kr::vector<double>& parameters) {
    initialize(points, parameters);
  }

  // --- Vertices ---
  // Replaces every vertex; the cached values go stale.
  void initialize(int n, const Vertex* vertices) {
    vertices_.assign(vertices, vertices + (n > 0 ? n : 0));
    modified();
  }
  void initialize(int n, const P* points, const double* parameters) {
    vertices_.resize(n > 0 ? n : 0);
    for (int i = 0; i < n; ++i) vertices_[i] = {points[i], parameters[i]};
    modified();
  }
  void initialize(const kr::vector<P>& points, const kr::vector<double>& parameters) {
    initialize(static_cast<int>(points.size()), points.data(), parameters.data());
  }
  // Parameters are the cumulative chord lengths, the first 0.
  void initializeArcLength(int n, const P* points) {
    vertices_.resize(n > 0 ? n : 0);
    double t = 0.0;
    for (int i = 0; i < n; ++i) {
      if (i > 0) t += krLinear::distance(points[i - 1], points[i]);
      vertices_[i] = {points[i], t};
    }
    modified();
  }
  // Parameter of vertex i is i.
  void initializeUniform(int n, const P* points) {
    vertices_.resize(n > 0 ? n : 0);
    for (int i = 0; i < n; ++i) vertices_[i] = {points[i], static_cast<double>(i)};
    modified();
  }
  int getNumVertices() const { return static_cast<int>(vertices_.size()); }
  const Vertex& getVertex(int i) const { return vertices_[i]; }
  // Editing a vertex in place needs modified() afterwards.
  Vertex& getVertex(int i) { return vertices_[i]; }

  // --- Shape ---
  // The parameters of the first and last vertex (the empty range without vertices).
  krLinear::Range1d getDomain() const {
    if (vertices_.empty()) return {};
    return {vertices_.front().parameter, vertices_.back().parameter};
  }

  // --- Evaluation and search ---
  // The point at parameter t, clamped to the ends of the domain.
  P eval(double t) const {
    const int n = getNumVertices();
    if (n == 0) return P();
    if (t <= vertices_.front().parameter) return vertices_.front().position;
    if (t >= vertices_.back().parameter) return vertices_.back().position;
    const int i = lowerBound(t);
    const Vertex& a = vertices_[i];
    const Vertex& b = vertices_[i + 1];
    const double s = (t - a.parameter) / (b.parameter - a.parameter);
    P p;
    for (int k = 0; k < kDimensions; ++k) p[k] = (1.0 - s) * a.position[k] + s * b.position[k];
    return p;
  }
  // The span [i, i + 1] holding t: 0 before the domain, n - 2 after it, 0 when the search fails
  // (and with fewer than 2 vertices).
  int findSpan(double t) const {
    const int n = getNumVertices();
    if (n < 2 || t <= vertices_.front().parameter) return 0;
    if (t >= vertices_.back().parameter) return n - 2;
    return lowerBound(t);
  }
  // span = findSpan(t) and the linear weights of its ends at t, not clamped: outside the domain
  // they extrapolate (one weight above 1, the other below 0).
  void getInterpolants(double t, int& span, double& w0, double& w1) const {
    span = findSpan(t);
    if (getNumVertices() < 2) {
      w0 = 1.0;
      w1 = 0.0;
      return;
    }
    const double a = vertices_[span].parameter, b = vertices_[span + 1].parameter;
    w1 = (t - a) / (b - a);
    w0 = 1.0 - w1;
  }

  // --- Lengths ---
  double getLength() const { return getLength(0, getNumVertices() - 1); }
  // The chord lengths from vertex i to vertex j; 0 when i + 1 > j.
  double getLength(int i, int j) const {
    double sum = 0.0;
    for (int k = i; k < j; ++k)
      sum += krLinear::distance(vertices_[k].position, vertices_[k + 1].position);
    return sum;
  }
  // The length of the curve over the parameter interval [a, b] (0 when a > b).
  double getLength(double a, double b) const {
    const int n = getNumVertices();
    double sum = 0.0;
    for (int k = 0; k + 1 < n; ++k) {
      const double t0 = vertices_[k].parameter, t1 = vertices_[k + 1].parameter;
      if (a >= t1) continue;
      if (t0 >= b) break;
      if (a <= t0 && t1 <= b) {
        sum += krLinear::distance(vertices_[k].position, vertices_[k + 1].position);
      } else {
        krLinear::Range1d part;
        if (krLinear::intersect(krLinear::Range1d(a, b), krLinear::Range1d(t0, t1), part,
                                krLinear::epsilonTol))
          sum += krLinear::distance(eval(part.lower()), eval(part.upper()));
      }
    }
    return sum;
  }

  // Marks the cached values stale.
  virtual void modified() { box_ = R(); }

  // The box of every position (empty without vertices), recomputed only when stale.
  const R& getBoundingBox() const {
    update();
    return box_;
  }
  // True when the first and last positions coincide within epsilonTol (in 2D, with at least 3
  // vertices).
  bool getClosed() const {
    update();
    return closed_;
  }

 protected:
  static constexpr int kDimensions = sizeof(P) / sizeof(double);

  PolylineBase() = default;
  PolylineBase(const PolylineBase& o)
      : kr::ReferenceCount(o), box_(o.box_), vertices_(o.vertices_), closed_(o.closed_) {}
  PolylineBase& operator=(const PolylineBase& o) {
    box_ = o.box_;
    vertices_ = o.vertices_;
    closed_ = o.closed_;
    return *this;
  }
  void swapBase(PolylineBase& o) noexcept {
    std::swap(box_, o.box_);
    vertices_.swap(o.vertices_);
    std::swap(closed_, o.closed_);
  }
  // Recomputes the cached values when stale.
  virtual void update() const = 0;
  bool stale() const { return box_.isEmpty(); }
  // Box of every position; closed when the ends coincide within epsilonTol (and, in 2D, there
  // are at least minClosed vertices).
  void updateBox(int minClosed) const {
    R box;
    for (const Vertex& v : vertices_) box.include(v.position);
    box_ = box;
    closed_ = getNumVertices() >= minClosed &&
              krLinear::equivalent(vertices_.front().position, vertices_.back().position,
                                   krLinear::epsilonTol);
  }
  // True with fewer than 2 vertices or strictly increasing parameters.
  bool isIncreasing() const {
    for (int i = 0; i + 1 < getNumVertices(); ++i)
      if (!(vertices_[i].parameter < vertices_[i + 1].parameter)) return false;
    return true;
  }

  mutable R box_;
  kr::vector<Vertex> vertices_;
  mutable bool closed_ = false;

 private:
  // Binary search for the span with t[i] <= t < t[i + 1]; 0 when none.
  int lowerBound(double t) const {
    int lo = 0, hi = getNumVertices() - 1;
    while (lo <= hi) {
      const int mid = (lo + hi) / 2;
      if (vertices_[mid].parameter <= t && mid + 1 < getNumVertices() &&
          t < vertices_[mid + 1].parameter)
        return mid;
      if (t > vertices_[mid].parameter)
        lo = mid + 1;
      else
        hi = mid - 1;
    }
    return 0;
  }
};

}  // namespace detail

// A 3D polyline.
class KRGEOM_EXPORT Polyline : public detail::PolylineBase<krLinear::Point, krLinear::Range3d> {
 public:
  using vertex = Vertex;

  // Empty; or from n vertices, n points and parameters, or point and parameter vectors.
  using PolylineBase::PolylineBase;
  Polyline() = default;
  Polyline(const Polyline&) = default;
  // Copies box, vertices and closed flag.
  Polyline& operator=(const Polyline&) = default;
  ~Polyline() override;
  void swap(Polyline& o) noexcept { swapBase(o); }

 private:
  void update() const override;
};

// A 2D polyline with a cached turning order.
class KRGEOM_EXPORT Polyline2d : public detail::PolylineBase<krLinear::Point2, krLinear::Range2d> {
 public:
  using vertex2d = Vertex;
  // Turning order of the corners (values are fixed).
  enum Order : std::int32_t {
    eUnknownOrder = 0,      // not computed, or invalidated
    eClockwise = 1,         // every corner that is not collinear turns right
    eCounterClockwise = 2,  // every such corner turns left
    eMixed = 3
  };

  // Empty; or from n vertices, n points and parameters, or point and parameter vectors.
  using PolylineBase::PolylineBase;
  Polyline2d() = default;
  Polyline2d(const Polyline2d& o) : PolylineBase(o), order_(o.order_) {}
  // Copies box, vertices, closed flag and the cached order.
  Polyline2d& operator=(const Polyline2d& o) {
    PolylineBase::operator=(o);
    order_ = o.order_;
    return *this;
  }
  ~Polyline2d() override;
  void swap(Polyline2d& o) noexcept {
    swapBase(o);
    std::swap(order_, o.order_);
  }

  // Appends p with parameter last + 1 (0 on an empty polyline), unless p coincides within
  // epsilonTol with the last vertex or with any vertex from index 1 on. Vertex 0 is deliberately
  // not compared, so appending the first point again closes the polyline.
  void appendVertex(const krLinear::Point2& p);
  // Parameter of vertex i becomes i.
  void makeUniform();
  const vertex2d& getFirstVertex() const { return vertices_.front(); }
  const vertex2d& getLastVertex() const { return vertices_.back(); }

  // getBoundingBox and getClosed also compute the order when stale.
  // The cached order: these four do not refresh it (getBoundingBox or getClosed do).
  Order getOrder() const { return order_; }
  bool isClockwise() const { return order_ == eClockwise; }
  bool isCounterClockwise() const { return order_ == eCounterClockwise; }
  // Closed and clockwise, or counter-clockwise (open or not): the asymmetry is deliberate.
  bool isConvex() const { return (closed_ && order_ == eClockwise) || order_ == eCounterClockwise; }
  // Marks box and order stale.
  void modified() override {
    PolylineBase::modified();
    order_ = eUnknownOrder;
  }

  // Debug hooks: no duplicate check, no output.
  bool debugHasDuplicateVertices() const { return false; }
  void debugPrint() const {}

 private:
  void update() const override;

  mutable Order order_ = eUnknownOrder;
};

}  // namespace krGeom
