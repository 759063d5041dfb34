#include <geom/meshes/mesh_sequence.h>

namespace krGeom {

template <class T>
MeshSequenceBase<T>::MeshSequenceBase(const MeshSequenceBase& other)
    : points_(other.points_),
      lengths_(other.lengths_),
      starts_(other.starts_),
      offsets_(other.offsets_) {
  rebaseStarts();
}

template <class T>
MeshSequenceBase<T>& MeshSequenceBase<T>::operator=(const MeshSequenceBase& other) {
  if (this == &other) return *this;
  points_ = other.points_;
  lengths_ = other.lengths_;
  starts_ = other.starts_;
  offsets_ = other.offsets_;
  rebaseStarts();
  return *this;
}

template <class T>
MeshSequenceBase<T>::~MeshSequenceBase() = default;

template <class T>
void MeshSequenceBase<T>::swapContents(MeshSequenceBase& other) {
  if (this == &other) return;
  points_.swapContents(other.points_);
  lengths_.swapContents(other.lengths_);
  starts_.swapContents(other.starts_);
  offsets_.swapContents(other.offsets_);
  // Heap buffers travel with their pointers; contents copied between allocator blocks do not.
  rebaseStarts();
  other.rebaseStarts();
}

template <class T>
void MeshSequenceBase<T>::setArrayAllocator(const kr::Reference<ArrayAllocator>& allocator) {
  points_.setArrayAllocator(allocator);
  lengths_.setArrayAllocator(allocator);
  starts_.setArrayAllocator(allocator);
  offsets_.setArrayAllocator(allocator);
}

template <class T>
void MeshSequenceBase<T>::resize(int numPoints, int numSequences) {
  if (numPoints == points_.size() && numSequences == lengths_.size()) return;
  clearCaches();
  // A growing array goes first, and a heap array shrinks without allocating, so a failure has at
  // most one grown array to undo; both arrays then hold what they held before. With an
  // allocator a shrink may fail, or may have dropped a tail already: the list is emptied then.
  const int oldPoints = points_.size(), oldLengths = lengths_.size();
  const bool pointsFirst = numPoints > oldPoints;
  const bool firstGrows = pointsFirst || numSequences > oldLengths;
  if (pointsFirst)
    points_.resize(numPoints);
  else
    lengths_.resize(numSequences);
  try {
    if (pointsFirst)
      lengths_.resize(numSequences);
    else
      points_.resize(numPoints);
  } catch (...) {
    bool undone = firstGrows;
    try {
      if (undone && pointsFirst) points_.resize(oldPoints);
      if (undone && !pointsFirst) lengths_.resize(oldLengths);
    } catch (...) {
      undone = false;
    }
    if (!undone) clear();
    throw;
  }
}

template <class T>
void MeshSequenceBase<T>::clear() {
  points_.resize(0);
  lengths_.resize(0);
  clearCaches();
}

template <class T>
const T* const* MeshSequenceBase<T>::getStarts() const {
  const int n = lengths_.size();
  if (n == 0) return nullptr;
  if (starts_.empty()) {
    starts_.resize(n);
    const T* first = points_.data();
    const int* lengths = lengths_.data();
    const T** out = starts_.data();
    int offset = 0;
    for (int i = 0; i < n; ++i) {
      out[i] = first ? first + offset : nullptr;
      offset += lengths[i];
    }
  }
  return starts_.data();
}

template <class T>
const int* MeshSequenceBase<T>::getOffsets() const {
  const int n = lengths_.size();
  if (n == 0) return nullptr;
  if (offsets_.empty()) {
    offsets_.resize(n);
    const int* lengths = lengths_.data();
    int* out = offsets_.data();
    int offset = 0;
    for (int i = 0; i < n; ++i) {
      out[i] = offset;
      offset += lengths[i];
    }
  }
  return offsets_.data();
}

template <class T>
void MeshSequenceBase<T>::clearCaches() {
  starts_.resize(0);
  offsets_.resize(0);
}

template <class T>
void MeshSequenceBase<T>::rebaseStarts() {
  const int n = starts_.size();
  if (n == 0) return;
  const T* first = points_.data();
  const T** out = starts_.data();
  const int* lengths = lengths_.data();
  if (out == nullptr || lengths == nullptr) return;
  const int count = n < lengths_.size() ? n : lengths_.size();
  int offset = 0;
  for (int i = 0; i < count; ++i) {
    out[i] = first ? first + offset : nullptr;
    offset += lengths[i];
  }
}

template class MeshSequenceBase<int>;

MeshSequence::~MeshSequence() = default;

}  // namespace krGeom
