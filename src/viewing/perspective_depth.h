// The depth terms shared by the lens's and the eye-space frustum's perspective matrices.
#pragma once

#include <kr/linear.h>

namespace krGeom::detail {

// m(2,2) and m(3,2) for near n and far f. With infiniteFar the far plane is at infinity, kept
// just inside the depth range by the float length tolerance e: m(2,2) = e - 1, m(3,2) = (e - 2) n.
inline void setPerspectiveDepth(krLinear::ProjMatrix& m, double n, double f, bool infiniteFar) {
  if (infiniteFar) {
    const double e = static_cast<double>(krLinear::epsilonTolFlt);
    m(2, 2) = e - 1.0;
    m(3, 2) = (e - 2.0) * n;
  } else {
    m(2, 2) = (n + f) / (n - f);
    m(3, 2) = 2.0 * n * f / (n - f);
  }
}

}  // namespace krGeom::detail
