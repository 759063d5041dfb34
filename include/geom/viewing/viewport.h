// krGeom::Viewport: the window rectangle and depth range that normalised device coordinates map to.
//
//   krGeom::Viewport vp;
//   vp.setSize(1920.0, 1080.0);
//   krLinear::AffineMatrix toWindow;
//   vp.getViewTransform(toWindow);             // NDC [-1, 1] to window pixels and depth
//
// A plain value; nothing is validated (a zero size gives infinite inverse transforms).
// One thread at a time.
#pragma once

#include <geom/export.h>
#include <kr/debug_channel.h>
#include <kr/linear.h>

namespace krGeom {

class KRGEOM_EXPORT Viewport {
 public:
  // --- Construction ---
  // Origin (0, 0), size (1, 1), depth range 0 to 1.
  Viewport() = default;

  // --- Access (no validation) ---
  void setOrigin(double x, double y) {
    x_ = x;
    y_ = y;
  }
  void setOrigin(const krLinear::Tuple2& o) { setOrigin(o.x(), o.y()); }
  void setSize(double width, double height) {
    width_ = width;
    height_ = height;
  }
  void setSize(const krLinear::Tuple2& s) { setSize(s.x(), s.y()); }
  void setDepthRange(double nearDepth, double farDepth) {
    near_ = nearDepth;
    far_ = farDepth;
  }
  void getOrigin(double& x, double& y) const {
    x = x_;
    y = y_;
  }
  void getOrigin(krLinear::Tuple2& o) const { o.set(x_, y_); }
  krLinear::Tuple2 getOrigin() const { return {x_, y_}; }
  void getSize(double& width, double& height) const {
    width = width_;
    height = height_;
  }
  void getSize(krLinear::Tuple2& s) const { s.set(width_, height_); }
  krLinear::Tuple2 getSize() const { return {width_, height_}; }
  void getDepthRange(double& nearDepth, double& farDepth) const {
    nearDepth = near_;
    farDepth = far_;
  }

  // --- Measures ---
  // width / height.
  double getAspectRatio() const { return width_ / height_; }
  // The middle of the window rectangle.
  void getCenter(krLinear::Point2& c) const { c.set(x_ + width_ / 2, y_ + height_ / 2); }

  // --- Transforms ---
  // Normalised coordinates to the window (x, y and depth; the 2D form x and y only).
  void getViewTransform(krLinear::AffineMatrix& m) const;
  void getViewTransform(krLinear::ProjMatrix& m) const;
  void getViewTransform(krLinear::AffineMatrix2& m) const;
  // The window back to normalised coordinates. The depth terms invert the forward ones exactly
  // only for a near depth of 0, as in the default range; both are kept in this form on purpose.
  void getInverseViewTransform(krLinear::AffineMatrix& m) const;
  void getInverseViewTransform(krLinear::ProjMatrix& m) const;
  void getInverseViewTransform(krLinear::AffineMatrix2& m) const;
  // Maps the window region onto the whole normalised square; an axis of zero size scales by 1.
  void getPickTransform(const krLinear::Range2d& region, krLinear::AffineMatrix& m) const;

  // All six values within epsilonTol.
  bool operator==(const Viewport& o) const;

  // Prints origin, size and depth range on an enabled channel.
  void debugPrint(krOS::DebugChannel& channel, const char* name) const;

 private:
  double x_ = 0.0;
  double y_ = 0.0;
  double width_ = 1.0;
  double height_ = 1.0;
  double near_ = 0.0;
  double far_ = 1.0;
};

}  // namespace krGeom
