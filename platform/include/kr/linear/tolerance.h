// Tolerances and angle conversions shared by the linear-algebra types.
//
// Lengths are in model units; the tolerances assume models of roughly unit to a few thousand
// units in size, as the application's scenes are.
#pragma once

namespace krLinear {

// Distances below 1e-6 are treated as zero: far above the rounding noise of double coordinates
// up to about 1e6 (2e-10), far below any feature size the application models.
inline constexpr double epsilonTol = 1e-6;

// The square of epsilonTol, for comparing squared lengths without a square root.
inline constexpr double epsilon2Tol = epsilonTol * epsilonTol;

// Two directions are parallel when the sine of the angle between them is at most 1e-6
// (about 0.2 arc seconds): several orders above the noise of directions computed in double,
// yet loose enough for directions derived from single-precision mesh data (noise about 1e-7).
inline constexpr double parallelTol = 1e-6;

// Angles (in degrees) closer than 1e-3 degrees are equal: a lens angle that differs by less than
// this moves an image edge by under a tenth of a pixel even on a 4000-pixel-wide view.
inline constexpr double degreeTol = 1e-3;

// The length tolerance carried to single precision. As the epsilon of the infinite-far
// projection it keeps the far limit about 16 steps of a 24-bit depth buffer below 1.
inline constexpr float epsilonTolFlt = 1e-6f;

// Pi to double precision.
inline constexpr double pi = 3.14159265358979323846;

// Degrees to radians.
constexpr double toRadians(double degrees) noexcept {
  return degrees * (pi / 180.0);
}
// Radians to degrees.
constexpr double toDegrees(double radians) noexcept {
  return radians * (180.0 / pi);
}

}  // namespace krLinear
