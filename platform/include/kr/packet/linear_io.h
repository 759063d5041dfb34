// Packet values for krLinear types. One thread at a time, as the contexts.
#pragma once

#include <kr/export.h>
#include <kr/linear/matrix.h>
#include <kr/linear/point2.h>

class ioReadContext;
class ioWriteContext;

namespace krLinear {

// Two doubles, x then y.
KR_PLATFORM_EXPORT void writeTuple2(ioWriteContext& out, const Tuple2& t);
// Reads what writeTuple2 wrote.
KR_PLATFORM_EXPORT void readTuple2(ioReadContext& in, Tuple2& t);
// The twelve elements row by row, as an array of doubles.
KR_PLATFORM_EXPORT void writeAffineMatrix(ioWriteContext& out, const AffineMatrix& m);
// Reads what writeAffineMatrix wrote; all zeros when the array is missing or malformed.
KR_PLATFORM_EXPORT void readAffineMatrix(ioReadContext& in, AffineMatrix& m);

}  // namespace krLinear
