// krGeom::BoundingBox: an axis-aligned box in single precision.
//
//   krGeom::BoundingBox box;          // the single point at the origin, not an empty box
//   box.setInvalid();                 // the empty box: extending it by p gives exactly p
//   box.extend(krLinear::PointFlt(1.f, 2.f, 3.f));
//   krLinear::Range3d r = box.asRange3d();
//
// Six floats: min x, min y, min z, max x, max y, max z. A plain value; nothing is checked, so
// inverted boxes (after clipTo of disjoint boxes or a negative scale) pass through as they are.
// Corner i (0 to 7) of getPoint and transform takes max x when bit 0 of i is set, max y for bit 1,
// max z for bit 2, the min value otherwise. One thread at a time.
#pragma once

#include <geom/export.h>
#include <kr/containers.h>
#include <kr/linear.h>

namespace krGeom {

class KRGEOM_EXPORT BoundingBox {
 public:
  // The largest finite float: the empty box is +invalidValue as min and -invalidValue as max.
  static constexpr float invalidValue = 3.4028235e38f;

  // --- Construction ---
  // All six values 0: the single point at the origin.
  BoundingBox() = default;
  // Copies the two corners; no ordering check.
  BoundingBox(const float* min, const float* max);
  // The single point p.
  explicit BoundingBox(const float* p);
  // The cube of half-size r about p: min = p - r, max = p + r.
  BoundingBox(const float* p, float r);
  // The single point p, rounded to float.
  explicit BoundingBox(const double* p);
  // Copies the two corners, rounded to float; no ordering check.
  BoundingBox(const double* min, const double* max);
  // Takes the range's lower and upper corners rounded to float, without testing the range.
  BoundingBox& operator=(const krLinear::Range3d& range);

  // --- Corners and extent ---
  krLinear::PointFlt minPt() const { return {min_[0], min_[1], min_[2]}; }
  krLinear::PointFlt maxPt() const { return {max_[0], max_[1], max_[2]}; }
  // Writes the three min coordinates to out.
  void minPt(float* out) const;
  // Writes the three max coordinates to out.
  void maxPt(float* out) const;
  // (min + max) * 0.5 per axis.
  krLinear::PointFlt center() const;
  void center(float* out) const;
  // max - min per axis.
  void diagonal(float* out) const;
  // (max - min) * 0.5 per axis.
  krLinear::VectorFlt halfDiagonal() const;
  void halfDiagonal(float* out) const;
  // Length of max - min, in float.
  float diagonalLength() const;
  // Corner i (0 to 7), numbered by the bits of i as stated above. Precondition: 0 <= i < 8.
  void getPoint(int i, float* out) const;
  void getPoint(int i, krLinear::PointFlt& out) const;
  // The eight corners in double: the min-z face walked around ((0,0), (0,1), (1,1), (1,0) in x, y
  // with 0 for min and 1 for max), then the max-z face in the same order. Deliberately not the
  // getPoint numbering: getVertices()[1] is (min x, max y, min z), getPoint(1) is (max x, min y,
  // min z).
  kr::vector<krLinear::Point> getVertices() const;
  // The box as a double range; an invalid box gives the unbounded range (test isValid first when
  // the difference matters).
  krLinear::Range3d asRange3d() const;

  // --- Tests ---
  // True when max >= min on all three axes; a flat box is valid, any NaN makes it invalid.
  bool isValid() const;
  // Closed overlap test on x, y and z: boxes that only touch intersect.
  bool intersects(const BoundingBox& other) const;
  // The same test on x and y only; z is ignored.
  bool intersects2D(const BoundingBox& other) const;
  // Strict containment on every axis: a box contains neither itself nor a box sharing a face with
  // it (deliberately strict).
  bool contains(const BoundingBox& other) const;
  // Squared distance from p to the box, 0 inside or on it; computed in float, widened to double.
  // A NaN coordinate contributes nothing on its axis.
  double distance2(const krLinear::PointFlt& p) const;
  // Square root of distance2.
  double distance(const krLinear::PointFlt& p) const;
  // Exact comparison of the six values (NaN never compares equal); see also equivalent().
  friend bool operator==(const BoundingBox&, const BoundingBox&) = default;

  // --- Mutators ---
  // The empty box: min = +invalidValue, max = -invalidValue on every axis.
  void setInvalid();
  // All six values 0.
  void zero();
  // Grows the box to hold p; the empty box becomes exactly p.
  void extend(const krLinear::PointFlt& p);
  // Grows the box to hold other; extending by an empty box changes nothing.
  void extend(const BoundingBox& other);
  // Grows every extent by d in total: d / 2 on each side (a negative d shrinks).
  void extend(float d);
  // Widens each side by 1% of the diagonal length.
  void extendFractionally();
  // Keeps the centre and makes every half-extent the largest of the three.
  void extendToCube();
  // Intersection in place; disjoint boxes leave min > max on some axis (an invalid box).
  void clipTo(const BoundingBox& other);
  // Scales about the centre by s; a negative s turns the box inside out (not corrected).
  void scale(float s);
  // The box of the eight transformed corners, in float. An empty box is transformed like any
  // other (its corners are huge values): transform only valid boxes.
  void transform(const krLinear::AffineMatrixFlt& m);
  // As above, each corner multiplied in double and rounded back to float.
  void transform(const krLinear::AffineMatrix& m);

 private:
  float min_[3] = {0.f, 0.f, 0.f};
  float max_[3] = {0.f, 0.f, 0.f};
};

// True when all six values of a and b differ by strictly less than tol. A tol of 0 is never met;
// a NaN anywhere gives false.
KRGEOM_EXPORT bool equivalent(const BoundingBox& a, const BoundingBox& b, float tol);

}  // namespace krGeom
