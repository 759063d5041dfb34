#include <kr/packet/linear_io.h>
#include <kr/packet/read_context.h>
#include <kr/packet/write_context.h>

namespace krLinear {

void writeTuple2(ioWriteContext& out, const Tuple2& t) {
  out.writeDouble(t.x());
  out.writeDouble(t.y());
}

void readTuple2(ioReadContext& in, Tuple2& t) {
  double x = in.readDouble();
  t.set(x, in.readDouble());
}

void writeAffineMatrix(ioWriteContext& out, const AffineMatrix& m) {
  out.writeDoubles(m.data(), 12);
}

void readAffineMatrix(ioReadContext& in, AffineMatrix& m) {
  double e[12];
  in.readDoubles(e, 12);
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 3; ++c) m(r, c) = e[r * 3 + c];
}

}  // namespace krLinear
