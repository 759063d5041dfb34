// krGeom::MeshBoundaries: boundary loops of a mesh as vertex-index lists, boundary i being
// sequence i of one MeshSequence. The library does not find boundaries itself: whoever does
// fills getSequence(), and users read the loops through the accessors.
//
//   kr::Reference<krGeom::MeshBoundaries> b(new krGeom::MeshBoundaries());
//   b->getSequence().resize(7, 2);             // 7 indices, 2 loops; fill indices and lengths
//   for (const int* v = b->getStart(1); v != b->getEnd(1); ++v) use(*v);
//
// Indices are not checked. getStart and getEnd point into the sequence's storage and are
// invalidated by any change to it. One thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/meshes/mesh_sequence.h>
#include <kr/reference.h>

namespace krGeom {

class KRGEOM_EXPORT MeshBoundaries : public kr::ReferenceCount {
 public:
  // No boundaries.
  MeshBoundaries() = default;
  MeshBoundaries(const MeshBoundaries& o) : kr::ReferenceCount(o), sequence_(o.sequence_) {}
  // Copies into a temporary, then swaps; assigning an object to itself does nothing.
  MeshBoundaries& operator=(const MeshBoundaries& o);
  ~MeshBoundaries() override;
  // Exchanges the sequences.
  void swap(MeshBoundaries& o) { sequence_.swapContents(o.sequence_); }

  // The number of boundaries.
  int size() const { return sequence_.getNumSequences(); }
  // The number of indices of boundary i.
  int getLength(int i) const { return sequence_.getLength(i); }
  // The first index of boundary i, and one past its last.
  const int* getStart(int i) const { return sequence_.getStarts()[i]; }
  const int* getEnd(int i) const { return getStart(i) + getLength(i); }
  // Makes `out` a sequence holding only boundary i (a copy of its indices), its start and offset
  // caches emptied.
  void extract(int i, MeshSequence& out) const;
  // 4 x (indices + lengths + 2 x starts + offsets): 4 bytes per int entry, 8 per start pointer,
  // nothing for the object itself.
  int numBytesUsed() const;

  MeshSequence& getSequence() { return sequence_; }
  const MeshSequence& getSequence() const { return sequence_; }

 private:
  MeshSequence sequence_;
};

}  // namespace krGeom
