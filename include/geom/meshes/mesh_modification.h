// krGeom::MeshModification: the notice that says what an edit did to a point, compact or grid
// mesh.
//
//   krGeom::MeshModification m(mesh, krGeom::MeshModification::eTopologyModified);
//   m.uvsValid();                       // the editor kept the UVs in step with the new topology
//   m.vertexAttribsValid("weights");    // and a custom attribute too
//   mesh->modified(m);                  // drops what is not valid, then tells the observers
//
// Per channel the notice records whether its contents changed ("modified") and whether its data
// may be kept ("valid"). Standard attributes ("vertices", "normals", "uvs", "sts", "colours",
// matched exactly and case-sensitively) have channels; any other attribute is tracked by name.
// The type fixes the starting masks:
//   eTransformed:        modified = vertices; valid = everything but normals and triangle normals;
//                        unlisted custom attributes valid.
//   eTopologyModified:   modified = valid = vertices and triangles; unlisted custom attributes
//                        not valid.
//   eAttributesModified (and any other value): nothing modified, everything valid.
// A notice is a short-lived value built on the editor's stack. The mesh and the remap it points to
// are borrowed: neither is owned, both must outlive every use of the notice. One thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/foundation/entity.h>
#include <kr/containers.h>
#include <kr/string.h>

#include <cstdint>

namespace krGeom {

class PointMesh;
class MeshRemap;

class KRGEOM_EXPORT MeshModification : public EntityModification {
 public:
  // What kind of edit the notice describes.
  enum Type : std::int32_t { eTransformed = 0, eTopologyModified = 1, eAttributesModified = 2 };

  // Bit numbers of the modified and valid masks.
  enum MeshChannel : std::int32_t {
    eVertices = 0,
    eNormals = 1,
    eUVs = 2,
    eSTs = 3,
    eColours = 4,
    eTriangles = 5,
    ePolys = 6,
    eStripsAndFans = 7,
    eLines = 8,
    eLineStrips = 9,
    eTriangleNormals = 10
  };

  // Names of non-standard attributes, in byte-wise order.
  using NameSet = kr::set<krString::CString>;

  // --- Construction ---
  // A root notice of kind eMesh for mesh (may be null), with the masks of type (see above) and
  // empty name sets. remap is borrowed and may be null.
  MeshModification(const PointMesh* mesh, Type type, MeshRemap* remap = nullptr);
  // Copies everything; the copy's name sets are independent of the source's.
  MeshModification(const MeshModification& other);
  MeshModification& operator=(const MeshModification& other);
  ~MeshModification() override;

  // --- Type and remap ---
  Type getType() const { return type_; }
  // True for eTransformed.
  bool transformed() const { return type_ == eTransformed; }
  // True for eTopologyModified.
  bool topologyModified() const { return type_ == eTopologyModified; }
  // True for eAttributesModified only (not for other values, which otherwise act like it).
  bool attributesModified() const { return type_ == eAttributesModified; }
  // Old-to-new index maps of a topology change, or null. Borrowed.
  MeshRemap* getMeshRemap() const { return meshRemap_; }

  // --- Setters: a rewritten channel is modified and, by definition, valid ---
  void normalsModified() { setModifiedAndValid(eNormals); }
  void uvsModified() { setModifiedAndValid(eUVs); }
  void stsModified() { setModifiedAndValid(eSTs); }
  void coloursModified() { setModifiedAndValid(eColours); }
  // Deliberately sets only the modified bit: the polys valid bit is left as it was.
  void polysModified() { setModified(ePolys); }
  void stripsAndFansModified() { setModifiedAndValid(eStripsAndFans); }
  void linesModified() { setModifiedAndValid(eLines); }
  void lineStripsModified() { setModifiedAndValid(eLineStrips); }
  void triangleNormalsModified() { setModifiedAndValid(eTriangleNormals); }

  // --- Setters: the channel's existing data may be kept ---
  void normalsValid() { setValid(eNormals); }
  void uvsValid() { setValid(eUVs); }
  void stsValid() { setValid(eSTs); }
  void coloursValid() { setValid(eColours); }
  void stripsAndFansValid() { setValid(eStripsAndFans); }
  void linesValid() { setValid(eLines); }
  void lineStripsValid() { setValid(eLineStrips); }
  void triangleNormalsValid() { setValid(eTriangleNormals); }

  // --- Tests (vertex, triangle and poly bits come from the type) ---
  bool areVerticesModified() const { return isModified(eVertices); }
  // The same test as areVerticesModified.
  bool areVerticesTransformed() const { return isModified(eVertices); }
  bool areNormalsModified() const { return isModified(eNormals); }
  bool areNormalsValid() const { return isValid(eNormals); }
  bool areUVsModified() const { return isModified(eUVs); }
  bool areUVsValid() const { return isValid(eUVs); }
  bool areSTsModified() const { return isModified(eSTs); }
  bool areSTsValid() const { return isValid(eSTs); }
  bool areColoursModified() const { return isModified(eColours); }
  bool areColoursValid() const { return isValid(eColours); }
  bool areTrianglesModified() const { return isModified(eTriangles); }
  bool arePolysModified() const { return isModified(ePolys); }
  bool areStripsAndFansModified() const { return isModified(eStripsAndFans); }
  bool areStripsAndFansValid() const { return isValid(eStripsAndFans); }
  bool areLinesModified() const { return isModified(eLines); }
  bool areLinesValid() const { return isValid(eLines); }
  bool areLineStripsModified() const { return isModified(eLineStrips); }
  bool areLineStripsValid() const { return isValid(eLineStrips); }
  bool areTriangleNormalsModified() const { return isModified(eTriangleNormals); }
  bool areTriangleNormalsValid() const { return isValid(eTriangleNormals); }

  // --- Attributes by name ---
  // A standard name marks its channel modified and valid; any other name joins both name sets.
  void vertexAttribsModified(const krString::CString& name);
  // A standard name marks its channel valid; any other name joins the valid names.
  void vertexAttribsValid(const krString::CString& name);
  // A standard name tests its modified bit; any other name is modified when it was named so.
  bool areVertexAttribsModified(const krString::CString& name) const;
  // A standard name tests its valid bit; any other name is valid when unlisted custom
  // attributes count as valid (transform and attribute notices), or when it was named valid.
  bool areVertexAttribsValid(const krString::CString& name) const;

  // --- Raw state, for observers that forward or log notices ---
  std::uint32_t getModifiedMask() const { return modifiedMask_; }
  std::uint32_t getValidMask() const { return validMask_; }
  const NameSet& getModifiedNames() const { return modifiedNames_; }
  const NameSet& getValidNames() const { return validNames_; }
  bool areOtherNamesValid() const { return otherNamesValid_; }

 protected:
  // Sets one bit of the modified mask only.
  void setModified(MeshChannel c) { modifiedMask_ |= bit(c); }
  // Sets one bit of the valid mask only.
  void setValid(MeshChannel c) { validMask_ |= bit(c); }
  bool isModified(MeshChannel c) const { return (modifiedMask_ & bit(c)) != 0; }
  bool isValid(MeshChannel c) const { return (validMask_ & bit(c)) != 0; }
  // Maps the five standard names to their channels; false for any other name.
  bool channelFromName(const krString::CString& name, MeshChannel& channel) const;

 private:
  static constexpr std::uint32_t bit(MeshChannel c) { return std::uint32_t{1} << c; }
  void setModifiedAndValid(MeshChannel c) {
    setModified(c);
    setValid(c);
  }

  Type type_;
  std::uint32_t modifiedMask_ = 0;
  std::uint32_t validMask_ = 0;
  NameSet modifiedNames_;
  bool otherNamesValid_ = false;
  NameSet validNames_;
  MeshRemap* meshRemap_ = nullptr;
};

}  // namespace krGeom
