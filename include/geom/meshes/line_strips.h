// krGeom::LineStrips: many line strips in three arrays: every strip's vertices one after another,
// one length per strip and one start offset per strip.
//
//   krGeom::LineStrips strips;
//   strips.lengths.resize(3);                   // fill vertices and lengths, then
//   strips.computeOffsets();                    // offsets[i] = lengths[0] + ... + lengths[i - 1]
//
// One thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/foundation/array.h>
#include <geom/foundation/records.h>

namespace krGeom {

class KRGEOM_EXPORT LineStrips {
 public:
  Array<MeshVertex> vertices;
  Array<int> lengths;
  Array<int> offsets;

  LineStrips() = default;
  LineStrips(const LineStrips& o) = default;
  // Takes the other's contents (through a copy when either side uses an allocator).
  LineStrips(LineStrips&& o);
  ~LineStrips() = default;
  LineStrips& operator=(const LineStrips& o) = default;
  LineStrips& operator=(LineStrips&& o);
  // Exchanges the contents; each array keeps its own allocator.
  void swap(LineStrips& o);

  // One offset per strip: the sum of the lengths before it.
  void computeOffsets();
  // Appends the other's vertices, lengths and offsets. The offsets are copied unchanged, so call
  // computeOffsets afterwards to make them index the joined vertices.
  void add(const LineStrips& other);
  // ((vertices + 6) * 3 + offsets + lengths) * 4.
  int getSizeInBytes() const;
};

}  // namespace krGeom
