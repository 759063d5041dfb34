#include <geom/meshes/line_strips.h>

#include <algorithm>

namespace krGeom {

namespace {

template <class T>
void append(Array<T>& to, const Array<T>& from) {
  const int n = to.size();
  to.resize(n + from.size());
  if (from.size() > 0) std::copy(from.begin(), from.end(), to.data() + n);
}

}  // namespace

LineStrips::LineStrips(LineStrips&& o) {
  swap(o);
}

LineStrips& LineStrips::operator=(LineStrips&& o) {
  if (this != &o) swap(o);
  return *this;
}

void LineStrips::swap(LineStrips& o) {
  vertices.swapContents(o.vertices);
  lengths.swapContents(o.lengths);
  offsets.swapContents(o.offsets);
}

void LineStrips::computeOffsets() {
  offsets.resize(lengths.size());
  int sum = 0;
  for (int i = 0; i < lengths.size(); ++i) {
    offsets[i] = sum;
    sum += lengths[i];
  }
}

void LineStrips::add(const LineStrips& other) {
  append(vertices, other.vertices);
  append(lengths, other.lengths);
  append(offsets, other.offsets);
}

int LineStrips::getSizeInBytes() const {
  return ((vertices.size() + 6) * 3 + offsets.size() + lengths.size()) * 4;
}

}  // namespace krGeom
