// Lines in 3D.
//
// Line is a point and a unit direction; its parameter measures signed distance along the line
// from the point. ParamLine runs from a start point (t = 0) to an end point (t = 1), so its
// parameter is a fraction of the segment.
//
//   krLinear::ParamLine seg(a, b);
//   krLinear::Point nearest = seg.projectBounded(x, 0.0, 1.0);   // closest point of segment a-b
//   krLinear::Line ray(eye, target - eye);                        // direction normalised
//   double depth = krLinear::projectParam(x, ray);                // distance along the ray
//
// Plain values; the usual rules of value types apply (one thread per object).
#pragma once

#include <kr/export.h>
#include <kr/linear/point.h>
#include <kr/linear/range.h>
#include <kr/linear/vector.h>

#include <algorithm>

namespace krLinear {

// An infinite line: a point and a unit direction. Default: the z axis through the origin.
class Line {
 public:
  Line() noexcept = default;
  // The line through `point` along `direction`, which is normalised (a Vector converts).
  Line(const Point& point, const Normal& direction) noexcept : p_(point), d_(direction) {}

  const Point& point() const noexcept { return p_; }
  const Normal& direction() const noexcept { return d_; }
  void set(const Point& point, const Normal& direction) noexcept {
    p_ = point;
    d_ = direction;
  }
  // The point at signed distance t from point() along the direction.
  Point eval(double t) const noexcept { return p_ + d_.vector() * t; }

  bool operator==(const Line&) const noexcept = default;

 private:
  Point p_;
  Normal d_;
};

// A parametric line through two points: eval(0) is the start, eval(1) the end.
class ParamLine {
 public:
  // The degenerate line at the origin.
  ParamLine() noexcept = default;
  // From start (t = 0) to end (t = 1).
  ParamLine(const Point& start, const Point& end) noexcept : p_(start), d_(end - start) {}

  const Point& start() const noexcept { return p_; }
  Point end() const noexcept { return p_ + d_; }
  // end − start (not normalised).
  const Vector& direction() const noexcept { return d_; }
  void set(const Point& start, const Point& end) noexcept { *this = ParamLine(start, end); }

  // start + t · (end − start).
  Point eval(double t) const noexcept { return p_ + d_ * t; }
  // The parameter of the point of the line nearest to x; 0 for a degenerate line (start = end).
  double projectParam(const Point& x) const noexcept {
    double len2 = d_.lengthSquared();
    return len2 > 0.0 ? dot(x - p_, d_) / len2 : 0.0;
  }
  // The point nearest to x among those with parameter in [lower, upper]: the projection with its
  // parameter clamped. projectBounded(x, 0, 1) is the point of the segment nearest to x.
  Point projectBounded(const Point& x, double lower, double upper) const noexcept {
    return eval(std::clamp(projectParam(x), lower, upper));
  }

  bool operator==(const ParamLine&) const noexcept = default;

 private:
  Point p_;
  Vector d_;
};

// The parameter (signed distance from line.point()) of x's orthogonal projection onto the line.
inline double projectParam(const Point& x, const Line& line) noexcept {
  return dot(x - line.point(), line.direction());
}
// The parameter of x's orthogonal projection onto a ParamLine, as line.projectParam(x).
inline double projectParam(const Point& x, const ParamLine& line) noexcept {
  return line.projectParam(x);
}
// The orthogonal projection of x onto the line.
inline Point project(const Point& x, const Line& line) noexcept {
  return line.eval(projectParam(x, line));
}
// Distance from x to the line.
inline double distance(const Point& x, const Line& line) noexcept {
  return distance(x, project(x, line));
}
// The parameter interval covered by projecting the box onto the line (the projections of its
// eight corners). An empty box gives an empty interval; infinite bounds give infinite ends.
KR_PLATFORM_EXPORT Range1d projectParam(const Range3d& box, const Line& line) noexcept;

}  // namespace krLinear
