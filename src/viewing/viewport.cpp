#include <geom/viewing/viewport.h>

#include "debug_print.h"

#include <cmath>

namespace krGeom {

void Viewport::getViewTransform(krLinear::AffineMatrix& m) const {
  m.setIdentity();
  m(0, 0) = width_ / 2.0;
  m(1, 1) = height_ / 2.0;
  m(2, 2) = (far_ - near_) / 2.0;
  m(3, 0) = x_ + width_ / 2.0;
  m(3, 1) = y_ + height_ / 2.0;
  m(3, 2) = (far_ - near_) / 2.0 - near_;
}

void Viewport::getViewTransform(krLinear::ProjMatrix& m) const {
  krLinear::AffineMatrix a;
  getViewTransform(a);
  m = a;
}

void Viewport::getViewTransform(krLinear::AffineMatrix2& m) const {
  m.setIdentity();
  m(0, 0) = width_ / 2.0;
  m(1, 1) = height_ / 2.0;
  m(2, 0) = x_ + width_ / 2.0;
  m(2, 1) = y_ + height_ / 2.0;
}

void Viewport::getInverseViewTransform(krLinear::AffineMatrix& m) const {
  m.setIdentity();
  m(0, 0) = 2.0 / width_;
  m(1, 1) = 2.0 / height_;
  m(2, 2) = 1.0 / ((far_ - near_) / 2.0);
  m(3, 0) = -(x_ + width_ / 2.0) * 2.0 / width_;
  m(3, 1) = -(y_ + height_ / 2.0) * 2.0 / height_;
  m(3, 2) = -(near_ + 1.0);
}

void Viewport::getInverseViewTransform(krLinear::ProjMatrix& m) const {
  krLinear::AffineMatrix a;
  getInverseViewTransform(a);
  m = a;
}

void Viewport::getInverseViewTransform(krLinear::AffineMatrix2& m) const {
  m.setIdentity();
  m(0, 0) = 2.0 / width_;
  m(1, 1) = 2.0 / height_;
  m(2, 0) = -(x_ + width_ / 2.0) * 2.0 / width_;
  m(2, 1) = -(y_ + height_ / 2.0) * 2.0 / height_;
}

void Viewport::getPickTransform(const krLinear::Range2d& region, krLinear::AffineMatrix& m) const {
  const krLinear::Point2 c = region.mid();
  const krLinear::Vector2 s = region.size();
  const double kx = s.x() > 0.0 ? 1.0 / s.x() : 1.0;
  const double ky = s.y() > 0.0 ? 1.0 / s.y() : 1.0;
  m.setIdentity();
  m(0, 0) = kx * width_;
  m(1, 1) = ky * height_;
  m(3, 0) = (width_ - 2.0 * (c.x() - x_)) * kx;
  m(3, 1) = (height_ - 2.0 * (c.y() - y_)) * ky;
}

bool Viewport::operator==(const Viewport& o) const {
  const auto close = [](double a, double b) { return std::fabs(a - b) < krLinear::epsilonTol; };
  return close(x_, o.x_) && close(y_, o.y_) && close(width_, o.width_) &&
         close(height_, o.height_) && close(near_, o.near_) && close(far_, o.far_);
}

void Viewport::debugPrint(krOS::DebugChannel& channel, const char* name) const {
  if (!channel.enabled()) return;
  detail::printHeader(channel, name, "Viewport");
  channel.print("  origin %.2f %.2f\n", x_, y_);
  channel.print("  size   %.2f %.2f\n", width_, height_);
  channel.print("  range  %.2f %.2f\n", near_, far_);
}

}  // namespace krGeom
