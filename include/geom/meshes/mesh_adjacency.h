// Adjacency tables of a triangle mesh, filled by the caller: the triangles around each vertex
// (MeshAdjTris), the neighbours of each triangle (MeshTriAdjTris) and the neighbours of each
// vertex (MeshAdjVertices).
//
//   krGeom::ArrayOfSets table;
//   table.assignFromPairs(numVerts, numPairs, vertexTrianglePairs);
//   kr::Reference<krGeom::MeshAdjTris> adj(new krGeom::MeshAdjTris(table));   // table now empty
//   int tris[3 * 6];
//   adj->copyTriangles(v, tris, triangleIndices);   // needs 3 * adj->numTris(v) ints
//
// The tables do not compute adjacency; lists keep the order of the caller's table, and boundary
// or non-manifold vertices simply have as many entries as the relation gives them. Indices are
// not checked (bad ones are undefined behaviour). Copying is not offered: hand tables over
// with swap(). Each table is used from one thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/foundation/array_of_sets.h>
#include <kr/reference.h>

namespace krGeom {

// For each vertex, the triangles that use it.
class KRGEOM_EXPORT MeshAdjTris : public kr::ReferenceCount {
 public:
  // --- Construction ---
  // No sets; maxTris() 0.
  MeshAdjTris() = default;
  // Swaps the table's contents in (set v = the triangles of vertex v); `table` is left empty.
  explicit MeshAdjTris(ArrayOfSets& table);
  MeshAdjTris(const MeshAdjTris&) = delete;
  MeshAdjTris& operator=(const MeshAdjTris&) = delete;
  ~MeshAdjTris() override;
  // Exchanges the tables and maxTris().
  void swap(MeshAdjTris& other);

  // --- Queries ---
  // The longest list, computed at construction; 0 for an empty table.
  int maxTris() const noexcept { return maxTris_; }
  // The number of triangles of vertex v.
  int numTris(int v) const { return adjacency_.getSetSize(v); }
  // The triangles of vertex v, numTris(v) of them.
  const int* triIndices(int v) const { return adjacency_.getSet(v); }
  // Writes the three vertex indices (from the flat index array `triangles`) of each triangle of
  // vertex v, in list order, to out, which must hold 3 * numTris(v) ints.
  void copyTriangles(int v, int* out, const int* triangles) const;
  // 4 * (sets + members) + 72.
  int numBytesUsed() const;

 private:
  ArrayOfSets adjacency_;
  int maxTris_ = 0;
};

// For each triangle, its neighbouring triangles.
class KRGEOM_EXPORT MeshTriAdjTris : public kr::ReferenceCount {
 public:
  // --- Construction ---
  // No sets; maxTris() 0.
  MeshTriAdjTris() = default;
  // Swaps the table's contents in (set t = the neighbours of triangle t); `table` is left empty.
  explicit MeshTriAdjTris(ArrayOfSets& table);
  MeshTriAdjTris(const MeshTriAdjTris&) = delete;
  MeshTriAdjTris& operator=(const MeshTriAdjTris&) = delete;
  ~MeshTriAdjTris() override;
  // Exchanges the tables and maxTris().
  void swap(MeshTriAdjTris& other);

  // --- Queries ---
  // The longest list, computed at construction; 0 for an empty table.
  int maxTris() const noexcept { return maxTris_; }
  // The number of neighbours of triangle t.
  int numTris(int t) const { return adjacency_.getSetSize(t); }
  // The neighbours of triangle t, numTris(t) of them.
  const int* triIndices(int t) const { return adjacency_.getSet(t); }
  // 4 * (sets + members) + 72.
  int numBytesUsed() const;

 private:
  ArrayOfSets adjacency_;
  int maxTris_ = 0;
};

// For each vertex, its neighbouring vertices, as length-prefixed lists in one array.
class KRGEOM_EXPORT MeshAdjVertices : public kr::ReferenceCount {
 public:
  // --- Construction ---
  // No arrays; both counts 0.
  MeshAdjVertices() = default;
  // Takes ownership of `offsets` (one entry per vertex: where its list starts in `data`) and
  // `data` (at data[offsets[v]] the neighbour count k of vertex v, then the k neighbours), as
  // they are: nothing is copied or checked. Both must come from std::malloc (or calloc/realloc),
  // since they are released with std::free. maxVerts is stored, not computed.
  MeshAdjVertices(int numVerts, int maxVerts, int* offsets, int* data);
  MeshAdjVertices(const MeshAdjVertices&) = delete;
  MeshAdjVertices& operator=(const MeshAdjVertices&) = delete;
  // Frees offsets, then data.
  ~MeshAdjVertices() override;
  // Exchanges all four fields.
  void swap(MeshAdjVertices& other) noexcept;

  // --- Queries ---
  // The largest neighbour count, as given at construction.
  int maxVerts() const noexcept { return maxVerts_; }
  // The number of neighbours of vertex v.
  int numVertices(int v) const { return data_[offsets_[v]]; }
  // The neighbours of vertex v, numVertices(v) of them.
  const int* vertexIndices(int v) const { return data_ + offsets_[v] + 1; }
  // A fixed estimate: 32 * numVerts + 40, whatever the lists hold.
  int numBytesUsed() const noexcept { return 32 * numVerts_ + 40; }

 private:
  int* offsets_ = nullptr;  // owned, malloc'd
  int* data_ = nullptr;     // owned, malloc'd
  int numVerts_ = 0;
  int maxVerts_ = 0;
};

}  // namespace krGeom
