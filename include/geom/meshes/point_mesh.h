// krGeom::PointMesh: vertices with named per-vertex attributes and a vertex selection, but no
// connectivity. The base of CompactMesh and GridMesh.
//
//   kr::Reference<krGeom::PointMesh> mesh(new krGeom::PointMesh());
//   mesh->copyVertices(n, vertices);      // makes the "vertices" attribute
//   mesh->allocNormalArray();             // uninitialised; fill it through getNormals()
//   krGeom::MeshModification m(mesh.get(), krGeom::MeshModification::eAttributesModified,
//                              nullptr);
//   m.normalsModified();
//   mesh->modified(m);                    // invalidates ranges, then tells the observers
//
// Attributes are kept in a list in order of creation; five of them have standard names and
// dimensions ("vertices" 3, "normals" 3, "uvs" 2, "sts" 2, "colours" 4) and are reached through
// cached pointers. While the mesh has vertices, the vertices attribute exists, and every
// attribute holds getNumVertices() elements after resizeVertexArray.
//
// Borrowed pointers: MeshAttributes* returned by the mesh stay owned by it and are valid until
// the attribute list changes (alloc/delete, resizeVertexArray(0), modified, assignment, swap).
// Element pointers (getVertices() and kin) are also invalidated by any resize, any allocator
// change and, with moveable storage, by unmapping. A mesh is used from one thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/foundation/array.h>
#include <geom/foundation/bit_vector.h>
#include <geom/foundation/entity.h>
#include <geom/foundation/mesh_attributes.h>
#include <geom/foundation/records.h>
#include <kr/containers.h>
#include <kr/linear.h>
#include <kr/reference.h>
#include <kr/string.h>

#include <memory>
#include <vector>

namespace krGeom {

class BoundingBox;
class MeshModification;

class KRGEOM_EXPORT PointMesh : public Entity {
 public:
  // --- Construction and copying ---

  // No allocator, no attributes, no vertices, an empty selection.
  PointMesh();
  // The same, with an allocator that every attribute made by the mesh receives.
  explicit PointMesh(kr::Reference<ArrayAllocator> allocator);
  // n vertices, no allocator. For n < 1 nothing is made. Otherwise the vertices attribute is made
  // and filled from v (left uninitialised when v is null); normals, UVs and colours are made and
  // filled for each of nm, uv, c that is not null. STs cannot be given here.
  PointMesh(int n, const MeshVertex* v, const MeshNormal* nm, const MeshUV* uv,
            const MeshColour* c);
  // A mesh without allocator, assigned from other (see operator=). Observers are not copied.
  PointMesh(const PointMesh& other);
  // Destroys every attribute and the selection, releases the allocator. Public, so that owners
  // of meshes that are not reference-held (arrangements) can delete them directly.
  ~PointMesh() override;

  // Replaces the attributes by copies of other's (name, dimension, storeable flag, data, cached
  // range); each copy's array shares the source array's allocator. This mesh's own allocator is
  // left as it was, on purpose: the copies keep the source's storage policy. Then copies the
  // vertex count and the selection. Self-assignment does nothing.
  // Strong guarantee: everything is copied before anything is replaced.
  PointMesh& operator=(const PointMesh& other);
  // Exchanges attributes, vertex count and selection. Deliberately does nothing at all when
  // either mesh has an allocator: arrays kept in an allocator cannot change owners.
  void swap(PointMesh& other);

  // --- Allocator ---

  // A new reference to the mesh's allocator, or null.
  kr::Reference<ArrayAllocator> getArrayAllocator() const { return allocator_; }
  // Takes the allocator, then hands it to every attribute in list order. Contract of the array
  // allocator change: an empty array moves cleanly; a non-empty one loses access to its
  // contents and must be resized and refilled. Give a mesh its allocator before filling it.
  virtual void setArrayAllocator(kr::Reference<ArrayAllocator> allocator);

  // --- Vertices and the standard attributes ---

  // The number of vertices.
  int getNumVertices() const { return numVertices_; }
  // resizeVertexArray(n), then (for n != 0) copies n vertices from v; invalidates the range.
  void copyVertices(int n, const MeshVertex* v);
  // n == 0: removes every attribute, vertices included. From 0 vertices: makes the vertices
  // attribute (uninitialised). Otherwise resizes every attribute to n elements, keeping the
  // common prefix; new elements are uninitialised and cached ranges are NOT invalidated.
  // Requires n >= 0. On std::bad_alloc the attributes keep their old count and contents (strong
  // guarantee) with heap storage; with an array allocator a failed shrink, or a growth whose undo
  // fails too, leaves the mesh without vertices or attributes instead.
  void resizeVertexArray(int n);

  // The first vertex, or null unless the vertices attribute exists with dimension 3 and data.
  MeshVertex* getVertices();
  const MeshVertex* getVertices() const;
  // The first vertex coordinate, or null (no dimension test).
  float* getVerticesRaw();
  const float* getVerticesRaw() const;
  // The first normal, or null unless the normals attribute exists with dimension 3 and data.
  MeshNormal* getNormals();
  const MeshNormal* getNormals() const;
  // The first normal coordinate, or null (no dimension test).
  float* getNormalsRaw();
  const float* getNormalsRaw() const;
  // The first UV, or null unless the UVs attribute exists with dimension 2 and data.
  MeshUV* getUVs();
  const MeshUV* getUVs() const;
  // The first UV coordinate, or null (no dimension test).
  float* getUVsRaw();
  const float* getUVsRaw() const;
  // The first ST, or null unless the STs attribute exists with dimension 2 and data.
  MeshUV* getSTs();
  const MeshUV* getSTs() const;
  // The first ST coordinate, or null (no dimension test).
  float* getSTsRaw();
  const float* getSTsRaw() const;
  // The first colour, or null unless the colours attribute exists with dimension 4 and data.
  MeshColour* getColours();
  const MeshColour* getColours() const;
  // The first colour channel, or null (no dimension test).
  float* getColoursRaw();
  const float* getColoursRaw() const;

  // The standard attributes themselves, or null when absent.
  MeshAttributes* getVerticesAttr() { return vertices_; }
  const MeshAttributes* getVerticesAttr() const { return vertices_; }
  MeshAttributes* getNormalsAttr() { return normals_; }
  const MeshAttributes* getNormalsAttr() const { return normals_; }
  MeshAttributes* getUVsAttr() { return uvs_; }
  const MeshAttributes* getUVsAttr() const { return uvs_; }
  MeshAttributes* getSTsAttr() { return sts_; }
  const MeshAttributes* getSTsAttr() const { return sts_; }
  MeshAttributes* getColoursAttr() { return colours_; }
  const MeshAttributes* getColoursAttr() const { return colours_; }

  // Make the standard attribute (uninitialised, with the mesh's allocator) when it does not
  // exist and the mesh has vertices; otherwise nothing.
  void allocNormalArray();
  void allocUVArray();
  void allocSTArray();
  void allocColourArray();
  // Remove the standard attribute, if present.
  void deleteNormals();
  void deleteUVs();
  void deleteSTs();
  void deleteColours();

  // True when the normals exist and are not storeable (computed normals are not saved).
  bool getNormalsComputed() const;
  // Marks existing normals computed (not storeable) or not; nothing without normals.
  void setNormalsComputed(bool computed);

  // --- General attributes ---

  // The number of attributes.
  int getNumAttributes() const { return static_cast<int>(attributes_.size()); }
  // The i-th attribute in order of creation, or null when i is out of range.
  MeshAttributes* getAttributes(int i);
  const MeshAttributes* getAttributes(int i) const;
  // The first attribute with exactly this name, or null.
  MeshAttributes* getAttributes(const krString::CString& name);
  const MeshAttributes* getAttributes(const krString::CString& name) const;
  // Inserts every attribute name into names (the set is not cleared first).
  void getAttributeNames(kr::set<krString::CString, kr::less<krString::CString>>& names) const;
  // Makes an attribute of dimension 1 to 4 with getNumVertices() uninitialised elements and the
  // mesh's allocator. Returns an existing attribute of that name when the dimension matches.
  // Null when the mesh has no vertices, for "vertices", for a dimension out of 1..4, for an
  // existing attribute of another dimension, or for a standard name with a wrong dimension.
  MeshAttributes* allocAttributes(const krString::CString& name, int dimension);
  // Removes and destroys the first attribute of that name; "vertices" is never removed.
  void deleteAttributes(const krString::CString& name);

  // --- Selection ---

  // The vertex selection, for the caller to size and edit.
  BitVector& getSelectedVertices() { return selectedVertices_; }
  const BitVector& getSelectedVertices() const { return selectedVertices_; }

  // --- Bounds and ranges (cached in the attributes) ---

  // The vertices' range; deliberately the invalid box (setInvalid) when there are no vertices.
  void getBoundingBox(BoundingBox& box) const;
  // The vertices' range; deliberately unbounded when there are no vertices.
  void getBoundingBox(krLinear::Range3d& range) const;
  // The UVs' range; unbounded without UVs.
  krLinear::Range2d getUVRange() const;
  // Stores r as the UVs' cached range; nothing without UVs.
  void setUVRange(const krLinear::Range2d& r);
  // The STs' range; unbounded without STs.
  krLinear::Range2d getSTRange() const;
  // Stores r as the STs' cached range; nothing without STs.
  void setSTRange(const krLinear::Range2d& r);

  // --- Notices and size ---

  // Consumes an edit notice: keeps each attribute that m declares valid (invalidating its range
  // when m declares it modified); records every other attribute in m as modified and destroys
  // it. Then sends m to the observers; the mesh is not touched after the delivery, so an observer
  // may edit it again or destroy it (see entity.h).
  virtual void modified(MeshModification& m);
  // 136 + the selection's size + every attribute's getSizeInBytes(), in 32-bit arithmetic.
  virtual int getSizeInBytes() const;

 protected:
  // True when the mesh has an allocator.
  bool hasArrayAllocator() const { return static_cast<bool>(allocator_); }

 private:
  // Destroys an attribute (its destructor is private to the mesh family).
  struct AttributeDeleter {
    void operator()(MeshAttributes* attribute) const noexcept;
  };
  using AttributePtr = std::unique_ptr<MeshAttributes, AttributeDeleter>;

  // Appends a new attribute of numVertices_ elements and refreshes the cached pointers.
  MeshAttributes* appendAttribute(const krString::CString& name, int dimension);
  // Position of the first attribute with this name in the list, or -1.
  int findAttribute(const krString::CString& name) const;
  // Recomputes the five cached pointers from the list, by name.
  void refreshStandardPointers();
  // Destroys every attribute and clears the cached pointers.
  void destroyAttributes();

  kr::Reference<ArrayAllocator> allocator_;
  std::vector<AttributePtr> attributes_;
  MeshAttributes* vertices_ = nullptr;
  MeshAttributes* normals_ = nullptr;
  MeshAttributes* uvs_ = nullptr;
  MeshAttributes* sts_ = nullptr;
  MeshAttributes* colours_ = nullptr;
  int numVertices_ = 0;
  BitVector selectedVertices_;
};

}  // namespace krGeom
