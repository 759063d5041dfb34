// krGeom::MeshAttributes: one named per-vertex attribute of a mesh, an Array of N-float elements
// (N from 1 to 4) with a cached per-component range, plus the five standard attribute names.
//
// Attributes are made, resized, moved between allocators and destroyed by the mesh that owns
// them (PointMesh); callers reach them through the mesh and may read and write their data,
// copy them, and query or set the cached range. One thread at a time.
//
// Range cache: while the range is not valid, the minimum holds +3.4028235e38 and the maximum
// -3.4028235e38 in every component below the dimension; a range getter scans the data from
// those values (NaN components never replace a bound) and then keeps the result until the
// range is invalidated (copyArray, invalidateRange; resize does not).
#pragma once

#include <geom/export.h>
#include <geom/foundation/array.h>
#include <geom/foundation/records.h>
#include <kr/linear/range.h>
#include <kr/reference.h>
#include <kr/string.h>

#include <cstdint>

namespace krGeom {

class PointMesh;

class KRGEOM_EXPORT MeshAttributes {
 public:
  // --- Copying ---

  // Copies name, dimension, storeable flag, data and range. The copy's data share the source's
  // allocator (as a second block) and include the guard elements.
  MeshAttributes(const MeshAttributes& other);
  // Copies name, dimension, storeable flag, the elements and the range; this attribute keeps
  // its own allocator.
  MeshAttributes& operator=(const MeshAttributes& other);

  // --- Description ---

  // The attribute's name.
  const krString::CString& getName() const noexcept { return name_; }
  // Floats per element, 1 to 4.
  int getDimension() const noexcept { return dimension_; }
  // Float count divided by the dimension (rounded down).
  int getNumElements() const noexcept { return data_.size() / dimension_; }
  // Whether the mesh file writer saves this attribute (true after construction).
  bool isStoreable() const noexcept { return storeable_; }
  void setStoreable(bool storeable) noexcept { storeable_ = storeable; }
  // 4 x float count + 88, the fixed part counting as 88 bytes.
  int getSizeInBytes() const noexcept { return 4 * data_.size() + 88; }
  // The allocator holding the data, or null for a heap buffer.
  const kr::Reference<ArrayAllocator>& getArrayAllocator() const noexcept {
    return data_.getAllocator();
  }

  // --- Data ---

  // Resizes the data to `n` floats (not elements: pass numElements x dimension), keeping the
  // common prefix. Leaves the cached range alone.
  void resize(int n) { data_.resize(n); }
  // Copies float count x 4 bytes from `src` (which must hold that many), then invalidates the
  // range.
  void copyArray(const float* src);
  // Exchanges name, dimension, storeable flag, data contents and range; each attribute keeps
  // its own allocator.
  void swap(MeshAttributes& other);
  // Does nothing; a hook for debug builds.
  void checkMemory() const noexcept {}

  // --- Typed views: the first element, or null when empty or the dimension does not match ---
  // Non-const views use the allocator's writable lookup, const views its read-only lookup.

  float* asFloat() { return data_.data(); }
  const float* asFloat() const { return data_.data(); }
  MeshFloat1* asFloat1() { return view<MeshFloat1, 1>(); }
  const MeshFloat1* asFloat1() const { return view<MeshFloat1, 1>(); }
  MeshFloat2* asFloat2() { return view<MeshFloat2, 2>(); }
  const MeshFloat2* asFloat2() const { return view<MeshFloat2, 2>(); }
  MeshFloat3* asFloat3() { return view<MeshFloat3, 3>(); }
  const MeshFloat3* asFloat3() const { return view<MeshFloat3, 3>(); }
  MeshFloat4* asFloat4() { return view<MeshFloat4, 4>(); }
  const MeshFloat4* asFloat4() const { return view<MeshFloat4, 4>(); }
  MeshUV* asMeshUV() { return view<MeshUV, 2>(); }
  const MeshUV* asMeshUV() const { return view<MeshUV, 2>(); }
  MeshVertex* asMeshVertex() { return view<MeshVertex, 3>(); }
  const MeshVertex* asMeshVertex() const { return view<MeshVertex, 3>(); }
  MeshNormal* asMeshNormal() { return view<MeshNormal, 3>(); }
  const MeshNormal* asMeshNormal() const { return view<MeshNormal, 3>(); }
  MeshColour* asMeshColour() { return view<MeshColour, 4>(); }
  const MeshColour* asMeshColour() const { return view<MeshColour, 4>(); }

  // --- Cached range (const: the range is a cache) ---

  // Range of component 0, scanned and cached when not valid. Precondition for the getters: the
  // dimension equals the getter's component count, or the data are empty (asserted in debug
  // builds; release builds return the stored range without scanning).
  krLinear::Range1d getRange1() const;
  // Range of components 0 and 1, scanned and cached when not valid.
  krLinear::Range2d getRange2() const;
  // Range of components 0 to 2, scanned and cached when not valid.
  krLinear::Range3d getRange3() const;
  // Stores `r` (rounded to float) as the range of component 0 and marks the range valid.
  void setRange1(const krLinear::Range1d& r) const;
  // Stores `r` (rounded to float) as the range of components 0 and 1; marks it valid.
  void setRange2(const krLinear::Range2d& r) const;
  // Stores `r` (rounded to float) as the range of components 0 to 2; marks it valid.
  void setRange3(const krLinear::Range3d& r) const;
  // Marks the range invalid and resets its components below the dimension.
  void invalidateRange() noexcept;

 private:
  friend class PointMesh;
  friend struct MeshAttributesTestAccess;  // unit tests make attributes directly

  // An attribute of `numElements` uninitialised elements of `dimension` floats (1 to 4),
  // storeable, range invalid; the data use `allocator` (null: heap buffer).
  MeshAttributes(const krString::CString& name, int dimension, int numElements,
                 kr::Reference<ArrayAllocator> allocator);
  // Frees the data (through the allocator if any) and drops the allocator reference.
  ~MeshAttributes();
  // Moves the data to `allocator` with the Array allocator-change steps: a non-empty attribute
  // whose new allocator is not null loses access to its data and must be resized and refilled.
  void setArrayAllocator(kr::Reference<ArrayAllocator> allocator);

  template <class R, int N>
  R* view() {
    return dimension_ == N ? reinterpret_cast<R*>(data_.data()) : nullptr;
  }
  template <class R, int N>
  const R* view() const {
    return dimension_ == N ? reinterpret_cast<const R*>(data_.data()) : nullptr;
  }
  // Scans components 0..n-1 into the cached range unless it is valid.
  void computeRange(int n) const;

  krString::CString name_;
  std::int32_t dimension_;
  bool storeable_;
  Array<float> data_;
  mutable float rangeMin_[4];
  mutable float rangeMax_[4];
  mutable bool rangeValid_;
};

// --- Standard attribute names (constant strings made when the library loads) ---

// "vertices": positions, 3 floats.
KRGEOM_EXPORT const krString::CString& verticesAttributeName() noexcept;
// "normals": 3 floats.
KRGEOM_EXPORT const krString::CString& normalsAttributeName() noexcept;
// "uvs": texture coordinates, 2 floats.
KRGEOM_EXPORT const krString::CString& uvsAttributeName() noexcept;
// "sts": second texture coordinates, 2 floats.
KRGEOM_EXPORT const krString::CString& stsAttributeName() noexcept;
// "colours": 4 floats.
KRGEOM_EXPORT const krString::CString& coloursAttributeName() noexcept;

}  // namespace krGeom
