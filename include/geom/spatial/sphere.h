// krGeom::Sphere: a centre and a radius in double precision.
//
//   krGeom::Sphere s(krLinear::Point(1.0, 2.0, 3.0), 0.5);
//
// A plain value with no invariant: a negative radius is stored as passed. One thread at a time.
#pragma once

#include <kr/linear.h>

namespace krGeom {

class Sphere {
 public:
  // --- Construction ---
  // The point at the origin with radius 0.
  Sphere() = default;
  // Centre and radius, stored as passed.
  Sphere(const krLinear::Point& centre, double radius) : centre_(centre), radius_(radius) {}

  // --- Access ---
  const krLinear::Point& getPoint() const { return centre_; }
  double getRadius() const { return radius_; }
  void setPoint(const krLinear::Point& centre) { centre_ = centre; }
  void setRadius(double radius) { radius_ = radius; }

 private:
  krLinear::Point centre_;
  double radius_ = 0.0;
};

}  // namespace krGeom
