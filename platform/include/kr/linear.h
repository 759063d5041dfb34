// krLinear: the double- and single-precision linear algebra of the platform layer.
//
// Conventions shared by every type:
//   - Points and vectors are row vectors multiplied on the left of a matrix (p * m); the last
//     row of a matrix is its translation; a * b applies a first, then b.
//   - Eye space looks down −z.
//   - Angles are in radians unless a name says degrees (toRadians, toDegrees, degreeTol).
//   - All types are plain values with no shared state; use each object from one thread at a time.
#pragma once

#include <kr/linear/homogeneous.h>
#include <kr/linear/line.h>
#include <kr/linear/matrix.h>
#include <kr/linear/matrix2.h>
#include <kr/linear/matrix_flt.h>
#include <kr/linear/plane.h>
#include <kr/linear/point.h>
#include <kr/linear/point2.h>
#include <kr/linear/point_flt.h>
#include <kr/linear/proj_matrix.h>
#include <kr/linear/range.h>
#include <kr/linear/tolerance.h>
#include <kr/linear/vector.h>
