// Index maps for compacting and reordering mesh elements.
//
//   krGeom::BitVector deleted(5);
//   deleted.setBit(1);
//   deleted.setBit(4);
//   kr::Reference<krGeom::Remap> map(new krGeom::Remap);
//   map->setDeleteMap(deleted);             // 0, -1, 1, 2, -1; range size 3
//   int triangle[3] = {0, 2, 3};
//   (*map)(triangle, 3);                    // 0, 1, 2
//   kr::Reference<krGeom::Remap> back = map->inverse();   // 0, 2, 3; range size 5
//
// A Remap maps the domain 0 ... getDomainSize()-1 to the range 0 ... getRangeSize()-1; a
// negative entry (-1 in practice) marks an element that was removed. Neither indices nor values
// are checked against the domain and range sizes (debug builds assert where cheap): out-of-range
// arguments are undefined behaviour. A Remap is used from one thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/foundation/array.h>
#include <geom/foundation/bit_vector.h>
#include <kr/reference.h>

namespace krGeom {

class KRGEOM_EXPORT Remap : public kr::ReferenceCount {
 public:
  // --- Construction and assignment ---
  // An empty map, range size 0.
  Remap() = default;
  // domainSize entries, left uninitialised; the given range size.
  Remap(int domainSize, int rangeSize);
  // Copies the entries (sharing the source's allocator, if any) and the range size; the copy
  // starts with a fresh reference count.
  Remap(const Remap& other) = default;
  // Copies the other map into a temporary, then swaps with it.
  Remap& operator=(const Remap& other);
  ~Remap() override;
  // Exchanges entries and range sizes; buffers are exchanged directly when neither map uses an
  // allocator, otherwise the entries are copied through a temporary (each keeps its allocator).
  void swap(Remap& other);

  // --- Sizes and storage ---
  // Sets the domain and range sizes, keeping existing leading entries; new entries are
  // uninitialised.
  void resize(int domainSize, int rangeSize);
  // The number of entries.
  int getDomainSize() const noexcept { return map_.size(); }
  // The size of the target index space.
  int getRangeSize() const noexcept { return rangeSize_; }
  // Sets the size of the target index space; entries are not touched.
  void setRangeSize(int rangeSize) noexcept { rangeSize_ = rangeSize; }
  // Entry 0, or null for an empty map.
  int* get() { return map_.data(); }
  const int* get() const { return map_.data(); }
  // The entries as an array.
  Array<int>& getArray() noexcept { return map_; }
  const Array<int>& getArray() const noexcept { return map_; }

  // --- Filling ---
  // Sets every entry to value.
  void set(int value);
  // Sets entry index to value.
  void set(int index, int value);
  // Sets entries first ... last (inclusive) to value; nothing when first > last.
  void set(int first, int last, int value);
  // Entry i = i.
  void setSequential();
  // Renumbers the non-negative entries 0, 1, 2, ... in index order, keeps negative ones, and
  // returns how many were renumbered. The range size is not changed.
  int setValidSequential();
  // Makes the map that removes the set bits of `deleted`: domain size deleted.size(), range size
  // the number of clear bits, entry i = -1 for a set bit, else the number of clear bits before i.
  void setDeleteMap(const BitVector& deleted);

  // --- Applying ---
  // Entry i.
  int operator()(int i) const { return map_[i]; }
  // Replaces each non-negative value v of values[0 ... n-1] by entry v; negative values stay.
  void operator()(int* values, int n) const;
  // Replaces each non-negative value v of the array by entry v; negative values stay.
  void operator()(Array<int>& values) const;
  // For each set bit i of `in`, sets bit (entry i) of `out` (counted once). Other bits of `out`
  // are left as they are. Requires in.size() <= getDomainSize(), every entry of a set bit to be
  // non-negative and below out.size().
  void operator()(BitVector& out, const BitVector& in) const;

  // --- Combining ---
  // Becomes the map that applies `first`, then `second`: first's domain, second's range, entry i
  // = second(first(i)) where first(i) >= 0, else -1. Either argument may be this map itself.
  // Strong guarantee: on std::bad_alloc this map is unchanged.
  void compose(const Remap& first, const Remap& second);
  // A new map from this range back to this domain: all -1, then inverse[entry i] = i for every
  // non-negative entry in index order, so when several indices share a target the last one wins.
  kr::Reference<Remap> inverse() const;

 private:
  Array<int> map_;
  int rangeSize_ = 0;
};

// The vertex and triangle maps of one mesh edit. The pointers are borrowed: both maps must
// outlive every use of the MeshRemap. Either may be null when that kind of element is unchanged.
class KRGEOM_EXPORT MeshRemap {
 public:
  // Pairs the two maps (not owned).
  MeshRemap(Remap* vertices, Remap* triangles) noexcept
      : vertices_(vertices), triangles_(triangles) {}
  // The vertex map, not owned.
  Remap* getVertices() const noexcept { return vertices_; }
  // The triangle map, not owned.
  Remap* getTriangles() const noexcept { return triangles_; }

 private:
  Remap* vertices_;
  Remap* triangles_;
};

}  // namespace krGeom
