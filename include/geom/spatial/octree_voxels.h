// krGeom::OctreeTris and krGeom::OctreeLines: reference-counted voxel tables listing, per voxel,
// the triangle (or line-segment) indices that lie in it.
//
//   krGeom::ArrayOfSets table;
//   table.assignFromPairs(tree->numLeafNodes(), numPairs, leafTriPairs);   // the caller's relation
//   kr::Reference<krGeom::OctreeTris> voxels(new krGeom::OctreeTris(table));  // table is now empty
//   for (int i = 0; i < voxels->numTris(leaf); ++i) use(voxels->firstTri(leaf)[i]);
//
// The tables hold a relation the caller computed; they neither build it nor know the voxels'
// geometry. Voxel numbers are the caller's set indices (an Octree's dense leaf numbers fit). An
// element may occur in several voxels; each list keeps the caller's order. Voxel numbers are not
// checked. A copy gets a fresh reference count and its own arrays. One thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/foundation/array_of_sets.h>
#include <kr/reference.h>

namespace krGeom {

class KRGEOM_EXPORT OctreeTris : public kr::ReferenceCount {
 public:
  // --- Construction and assignment ---
  // No voxels.
  OctreeTris() = default;
  // Takes over table's contents by swapping; table is left with no sets.
  explicit OctreeTris(ArrayOfSets& table) { voxels_.swap(table); }
  // Deep copy of the table (its arrays share the source's allocator reference); fresh count.
  OctreeTris(const OctreeTris& other) = default;
  // Copies the table; both reference counts stay as they were.
  OctreeTris& operator=(const OctreeTris& other) = default;
  ~OctreeTris() override;
  // Exchanges the tables (the reference counts stay).
  void swap(OctreeTris& other) { voxels_.swap(other.voxels_); }

  // --- Access ---
  // The number of voxels.
  int numVoxels() const { return voxels_.getNumSets(); }
  // The number of triangles in voxel v.
  int numTris(int v) const { return voxels_.getSetSize(v); }
  // The first triangle index of voxel v; null when the table has no members at all.
  const int* firstTri(int v) const { return voxels_.getSet(v); }
  const ArrayOfSets& getData() const { return voxels_; }
  // 4 * (voxels + listed triangles) + 64.
  int numBytesUsed() const;

 private:
  ArrayOfSets voxels_;
};

class KRGEOM_EXPORT OctreeLines : public kr::ReferenceCount {
 public:
  // --- Construction and assignment ---
  // No voxels.
  OctreeLines() = default;
  // Takes over table's contents by swapping; table is left with no sets.
  explicit OctreeLines(ArrayOfSets& table) { voxels_.swap(table); }
  // Deep copy of the table (its arrays share the source's allocator reference); fresh count.
  OctreeLines(const OctreeLines& other) = default;
  // Copies the table; both reference counts stay as they were.
  OctreeLines& operator=(const OctreeLines& other) = default;
  ~OctreeLines() override;
  // Exchanges the tables (the reference counts stay).
  void swap(OctreeLines& other) { voxels_.swap(other.voxels_); }

  // --- Access ---
  // The number of voxels.
  int numVoxels() const { return voxels_.getNumSets(); }
  // The number of line segments in voxel v.
  int numLines(int v) const { return voxels_.getSetSize(v); }
  // The first line-segment index of voxel v; null when the table has no members at all.
  const int* firstLine(int v) const { return voxels_.getSet(v); }
  const ArrayOfSets& getData() const { return voxels_; }
  // 4 * (voxels + listed segments) + 64.
  int numBytesUsed() const;

 private:
  ArrayOfSets voxels_;
};

}  // namespace krGeom
