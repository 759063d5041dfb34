// krGeom::CompactMesh: the indexed triangle mesh. A PointMesh whose vertices are joined by index
// triangles and lines, with optional per-triangle normals, a triangle selection, and four index
// sequence lists (triangle strips, triangle fans, line strips, polygons).
//
//   kr::Reference<krGeom::CompactMesh> mesh(new krGeom::CompactMesh(3, v, nullptr, nullptr,
//                                                                   nullptr));
//   const int tri[] = {0, 1, 2};
//   mesh->copyTriangles(1, tri);
//   krGeom::MeshModification m(mesh.get(), krGeom::MeshModification::eTopologyModified,
//                              nullptr);
//   mesh->modified(m);          // drops derived data that m does not declare valid
//
// Editors resize and fill the arrays, then pass a MeshModification to modified(): the notices,
// not the resizing operations, drop derived data (triangle normals, strips and fans, line
// strips, start caches). Triangle normals exist only on request (allocTriangleNormalArray) and
// then follow the triangle count on every resize. Indices are not checked.
//
// Pointers returned by the getters follow the rules of PointMesh: invalid after a resize of
// their array, an allocator change or, with moveable storage, unmapping. A mesh is used from one
// thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/foundation/array.h>
#include <geom/foundation/bit_vector.h>
#include <geom/foundation/records.h>
#include <geom/meshes/mesh_sequence.h>
#include <geom/meshes/point_mesh.h>
#include <kr/reference.h>

namespace krGeom {

// Three vertex indices.
struct MeshTriangle {
  int v[3];

  int& operator[](int i) { return v[i]; }
  const int& operator[](int i) const { return v[i]; }
  friend bool operator==(const MeshTriangle&, const MeshTriangle&) = default;
};

// Two vertex indices.
struct MeshLine {
  int v[2];

  int& operator[](int i) { return v[i]; }
  const int& operator[](int i) const { return v[i]; }
  friend bool operator==(const MeshLine&, const MeshLine&) = default;
};

class KRGEOM_EXPORT CompactMesh : public PointMesh {
 public:
  // --- Construction and copying ---

  // An empty mesh without allocator; getTriNormalsComputed() is true.
  CompactMesh();
  // An empty mesh whose attributes, index arrays and sequences all use the allocator.
  explicit CompactMesh(kr::Reference<ArrayAllocator> allocator);
  // n vertices filled from the non-null arrays, as the PointMesh constructor; no index data.
  CompactMesh(int n, const MeshVertex* v, const MeshNormal* nm, const MeshUV* uv,
              const MeshColour* c);
  // A mesh without allocator, assigned from other (see operator=). Observers are not copied.
  CompactMesh(const CompactMesh& other);
  ~CompactMesh() override;

  // The PointMesh assignment, then every index array and sequence array by array (each target
  // array keeps its allocator), the display state and the triangle selection. Basic guarantee:
  // on std::bad_alloc the mesh is left empty (no attributes, triangles, lines, sequences or
  // selections; display state unchanged).
  CompactMesh& operator=(const CompactMesh& other);
  // The PointMesh swap, then all index data, selections and display state. Deliberately does
  // nothing at all when either mesh has an allocator.
  void swap(CompactMesh& other);

  // Hands the allocator to every attribute, then to the triangles, lines, triangle normals and
  // every array of the four sequences. Non-empty arrays lose their contents by the array
  // allocator-change contract: give a mesh its allocator before filling it.
  void setArrayAllocator(kr::Reference<ArrayAllocator> allocator) override;

  // --- Triangles, lines and triangle normals ---

  int getNumTriangles() const { return triangles_.size(); }
  int getNumLines() const { return lines_.size(); }
  // The first triangle, or null.
  MeshTriangle* getTriangles() { return triangles_.data(); }
  const MeshTriangle* getTriangles() const { return triangles_.data(); }
  // The first index of the first triangle, or null.
  int* getTrianglesRaw();
  const int* getTrianglesRaw() const;
  // The first line, or null.
  MeshLine* getLines() { return lines_.data(); }
  const MeshLine* getLines() const { return lines_.data(); }
  // The first triangle normal, or null.
  MeshNormal* getTriangleNormals() { return triangleNormals_.data(); }
  const MeshNormal* getTriangleNormals() const { return triangleNormals_.data(); }
  // The first coordinate of the first triangle normal, or null.
  float* getTriangleNormalsRaw();
  const float* getTriangleNormalsRaw() const;

  // n == 0: deleteTriangles(). Otherwise resizes the triangles (and existing triangle normals)
  // to n and copies 3 * n indices from idx.
  void copyTriangles(int n, const int* idx);
  // n == 0: deleteTriangles(). Otherwise resizes the triangles (and existing triangle normals);
  // new entries are uninitialised. Requires n >= 0. On std::bad_alloc the arrays are as before
  // (strong guarantee) with heap storage; with an array allocator a failed shrink, or a growth
  // whose undo fails too, deletes the triangles instead. copyTriangles and the sequence resizes
  // behave alike (a sequence list is emptied instead; its caches may be emptied in any case);
  // resizeLineArray and allocTriangleNormalArray give the strong guarantee.
  void resizeTriangleArray(int n);
  // Resizes the lines; new entries are uninitialised.
  void resizeLineArray(int n);
  // Sizes the triangle normals to the triangle count (uninitialised) when there are triangles
  // and no triangle normals; otherwise nothing.
  void allocTriangleNormalArray();
  // Empties the triangles and the triangle normals.
  void deleteTriangles();
  void deleteLines();
  void deleteTriangleNormals();
  // Whether the triangle normals are computed (the file writer leaves computed ones out).
  bool getTriNormalsComputed() const { return triNormalsComputed_; }
  void setTriNormalsComputed(bool computed) { triNormalsComputed_ = computed; }

  // --- Sequences ---

  MeshSequence& getTriStrips() { return triStrips_; }
  const MeshSequence& getTriStrips() const { return triStrips_; }
  MeshSequence& getTriFans() { return triFans_; }
  const MeshSequence& getTriFans() const { return triFans_; }
  MeshSequence& getLineStrips() { return lineStrips_; }
  const MeshSequence& getLineStrips() const { return lineStrips_; }
  MeshSequence& getPolys() { return polys_; }
  const MeshSequence& getPolys() const { return polys_; }

  // The number of sequences of each kind.
  int getNumTriStrips() const { return triStrips_.getNumSequences(); }
  int getNumTriFans() const { return triFans_.getNumSequences(); }
  int getNumLineStrips() const { return lineStrips_.getNumSequences(); }
  int getNumPolys() const { return polys_.getNumSequences(); }
  // The number of indices of all sequences of each kind.
  int getNumTriStripPoints() const { return triStrips_.getNumPoints(); }
  int getNumTriFanPoints() const { return triFans_.getNumPoints(); }
  int getNumLineStripPoints() const { return lineStrips_.getNumPoints(); }
  int getNumPolyPoints() const { return polys_.getNumPoints(); }

  // The first index of each kind, or null.
  int* getTriStripPoints() { return triStrips_.getPoints(); }
  const int* getTriStripPoints() const { return triStrips_.getPoints(); }
  int* getTriFanPoints() { return triFans_.getPoints(); }
  const int* getTriFanPoints() const { return triFans_.getPoints(); }
  int* getLineStripPoints() { return lineStrips_.getPoints(); }
  const int* getLineStripPoints() const { return lineStrips_.getPoints(); }
  int* getPolyPoints() { return polys_.getPoints(); }
  const int* getPolyPoints() const { return polys_.getPoints(); }
  // The first sequence length of each kind, or null.
  int* getTriStripLengths() { return triStrips_.getLengths(); }
  const int* getTriStripLengths() const { return triStrips_.getLengths(); }
  int* getTriFanLengths() { return triFans_.getLengths(); }
  const int* getTriFanLengths() const { return triFans_.getLengths(); }
  int* getLineStripLengths() { return lineStrips_.getLengths(); }
  const int* getLineStripLengths() const { return lineStrips_.getLengths(); }
  int* getPolyLengths() { return polys_.getLengths(); }
  const int* getPolyLengths() const { return polys_.getLengths(); }
  // Per-sequence start pointers, computed on first use; null when there are no sequences.
  const int* const* getTriStripStarts() const { return triStrips_.getStarts(); }
  const int* const* getTriFanStarts() const { return triFans_.getStarts(); }
  const int* const* getLineStripStarts() const { return lineStrips_.getStarts(); }
  const int* const* getPolyStarts() const { return polys_.getStarts(); }

  // Resize a sequence list to numPoints indices and numSequences lengths and empty its caches;
  // nothing at all when both counts are unchanged.
  void resizeTriStripArrays(int numPoints, int numSequences);
  void resizeTriFanArrays(int numPoints, int numSequences);
  void resizeLineStripArrays(int numPoints, int numSequences);
  void resizePolyArrays(int numPoints, int numSequences);
  // Empty a sequence list.
  void deleteTriStrips() { triStrips_.clear(); }
  void deleteTriFans() { triFans_.clear(); }
  void deleteLineStrips() { lineStrips_.clear(); }
  void deletePolys() { polys_.clear(); }

  // Appends the triangles of every strip and fan behind the existing triangles; strips and fans
  // are kept. Strip triangles alternate winding back: (p0,p1,p2), (p2,p1,p3), (p2,p3,p4), ...;
  // fan triangles are (c,q1,q2), (c,q2,q3), ... Existing triangle normals grow with the
  // triangles but are not computed. Sequences shorter than 3 add nothing.
  void fullyPopulateTriangleArray();
  // Appends the segments of every line strip behind the existing lines; line strips are kept.
  // Sequences shorter than 2 add nothing.
  void fullyPopulateLineArray();

  // True when there is a line or a line strip.
  bool hasCurveData() const;
  // True when there is a triangle, triangle strip, triangle fan or polygon.
  bool hasSurfaceData() const;

  // --- Selection and display state ---

  // The triangle selection, for the caller to size and edit.
  BitVector& getSelectedTriangles() { return selectedTriangles_; }
  const BitVector& getSelectedTriangles() const { return selectedTriangles_; }
  // Resizes the vertex and the triangle selection to 0 bits.
  void clearSelection();
  // Opaque renderer data; not owned, never dereferenced by the library.
  void setRenderInfo(void* info) { renderInfo_ = info; }
  void* getRenderInfo() const { return renderInfo_; }
  // Opaque renderer flags.
  void setDrawFlags(int flags) { drawFlags_ = flags; }
  int getDrawFlags() const { return drawFlags_; }
  // Sets flat shading explicitly.
  void setFlatShaded(bool flat) {
    flatShaded_ = flat;
    flatShadedSet_ = true;
  }
  // The explicit setting when there is one; otherwise whether there are triangle normals.
  bool getFlatShaded() const { return flatShadedSet_ ? flatShaded_ : !triangleNormals_.empty(); }

  // --- Notices and size ---

  // On a topology notice: empties the start caches of non-empty sequence lists, and deletes the
  // triangle normals, strips and fans, and line strips unless m declares each valid. On a
  // transform notice: deletes the triangle normals unless declared valid. Triangles, lines and
  // polygons are never deleted here. Then the PointMesh handling, which sends m on.
  void modified(MeshModification& m) override;
  // PointMesh::getSizeInBytes() + the triangle selection's size + 4 * (3 * (triangles +
  // triangle normals) + the index, length and offset counts of the four sequence lists
  // + 2 * their start counts + 130). Lines are deliberately not counted.
  int getSizeInBytes() const override;

 private:
  // The array part of operator=: attributes, index arrays, sequences, selections.
  void assignArrays(const CompactMesh& other);

  Array<MeshTriangle> triangles_;
  Array<MeshLine> lines_;
  Array<MeshNormal> triangleNormals_;
  BitVector selectedTriangles_;
  MeshSequence triStrips_;
  MeshSequence triFans_;
  MeshSequence lineStrips_;
  MeshSequence polys_;
  void* renderInfo_ = nullptr;
  int drawFlags_ = 0;
  bool flatShaded_ = false;
  bool flatShadedSet_ = false;
  bool triNormalsComputed_ = true;
};

}  // namespace krGeom
