// krGeom::MeshSequence: a packed list of variable-length index sequences (triangle strips,
// triangle fans, line strips, polygons, boundary loops).
//
//   krGeom::MeshSequence strips;
//   strips.resize(7, 2);                     // 7 indices in all, 2 sequences
//   std::copy_n(indices, 7, strips.getPoints());
//   strips.getLengths()[0] = 4;
//   strips.getLengths()[1] = 3;
//   const int* const* starts = strips.getStarts();  // starts[1] == strips.getPoints() + 4
//
// All indices lie in one array, sequence after sequence; a second array holds the lengths. Two
// caches are derived from the lengths on demand: the start pointers (starts[i] points at the
// first index of sequence i) and the start offsets (offsets[i] is its position in the index
// array, which stays meaningful when moveable storage moves). Both caches are emptied by every
// resize that changes a count and by clearCaches(); writing new lengths through getLengths()
// does not empty them, so call clearCaches() after editing lengths in place.
//
// Start pointers refer to the index storage at the time they were computed: they are invalid
// after any resize, allocator change or, with moveable storage, unmapping. Copies and swaps
// recompute the start pointers of a non-empty cache for their own storage. One thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/foundation/array.h>
#include <kr/reference.h>

namespace krGeom {

// The storage and operations of a sequence list over index type T. Instantiated for int.
template <class T>
class KRGEOM_EXPORT MeshSequenceBase {
 public:
  // --- Construction and copying ---

  // No sequences.
  MeshSequenceBase() = default;
  // Copies all four arrays; each copy shares the source array's allocator.
  MeshSequenceBase(const MeshSequenceBase& other);
  // Copies all four arrays, array by array; each target array keeps its own allocator.
  MeshSequenceBase& operator=(const MeshSequenceBase& other);
  virtual ~MeshSequenceBase();

  // Exchanges the contents of all four arrays; each array keeps its own allocator.
  void swapContents(MeshSequenceBase& other);
  // Moves every array to the allocator (null: heap), in the order indices, lengths, starts,
  // offsets. Non-empty arrays lose their contents by the array allocator-change contract.
  void setArrayAllocator(const kr::Reference<ArrayAllocator>& allocator);

  // --- Counts and arrays ---

  // The number of sequences.
  int getNumSequences() const { return lengths_.size(); }
  // The number of indices of all sequences together.
  int getNumPoints() const { return points_.size(); }
  // The first index, or null when there are none.
  T* getPoints() { return points_.data(); }
  const T* getPoints() const { return points_.data(); }
  // The first length, or null when there are no sequences.
  int* getLengths() { return lengths_.data(); }
  const int* getLengths() const { return lengths_.data(); }
  // The length of sequence i; requires 0 <= i < getNumSequences().
  int getLength(int i) const { return lengths_[i]; }

  // Resizes the index array to numPoints and the length array to numSequences and empties both
  // caches; nothing at all when both counts are unchanged. New entries are uninitialised.
  void resize(int numPoints, int numSequences);
  // Empties all four arrays.
  void clear();

  // --- Caches ---

  // The start pointer of each sequence, computed on first use; null when there are no sequences.
  const T* const* getStarts() const;
  // The start offset of each sequence, computed on first use; null when there are no sequences.
  const int* getOffsets() const;
  // Empties both caches.
  void clearCaches();
  // The number of entries in the start-pointer cache (0 while it is not computed).
  int getNumStarts() const { return starts_.size(); }
  // The number of entries in the offset cache (0 while it is not computed).
  int getNumOffsets() const { return offsets_.size(); }

  // --- Direct array access (for readers, writers and allocator-aware owners) ---

  Array<T>& getPointArray() { return points_; }
  const Array<T>& getPointArray() const { return points_; }
  Array<int>& getLengthArray() { return lengths_; }
  const Array<int>& getLengthArray() const { return lengths_; }

 private:
  // Rewrites a non-empty start-pointer cache for this object's own index storage.
  void rebaseStarts();

  Array<T> points_;
  Array<int> lengths_;
  mutable Array<const T*> starts_;
  mutable Array<int> offsets_;
};

extern template class MeshSequenceBase<int>;

// The sequence list of 32-bit vertex indices used by CompactMesh and MeshBoundaries.
class KRGEOM_EXPORT MeshSequence : public MeshSequenceBase<int> {
 public:
  MeshSequence() = default;
  MeshSequence(const MeshSequence&) = default;
  MeshSequence& operator=(const MeshSequence&) = default;
  ~MeshSequence() override;
};

}  // namespace krGeom
