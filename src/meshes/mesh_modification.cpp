#include <geom/meshes/mesh_modification.h>

#include <geom/foundation/mesh_attributes.h>
#include <geom/meshes/point_mesh.h>

namespace krGeom {

namespace {

constexpr std::uint32_t allBits = 0xFFFFFFFFu;
constexpr std::uint32_t verticesAndTriangles = 0x21u;

}  // namespace

MeshModification::MeshModification(const PointMesh* mesh, Type type, MeshRemap* remap)
    : EntityModification(mesh, eMesh), type_(type), meshRemap_(remap) {
  switch (type) {
    case eTransformed:
      modifiedMask_ = bit(eVertices);
      validMask_ = allBits & ~(bit(eNormals) | bit(eTriangleNormals));
      otherNamesValid_ = true;
      break;
    case eTopologyModified:
      modifiedMask_ = verticesAndTriangles;
      validMask_ = verticesAndTriangles;
      otherNamesValid_ = false;
      break;
    default:
      modifiedMask_ = 0;
      validMask_ = allBits;
      otherNamesValid_ = true;
      break;
  }
}

MeshModification::MeshModification(const MeshModification& other) = default;
MeshModification& MeshModification::operator=(const MeshModification& other) = default;
MeshModification::~MeshModification() = default;

void MeshModification::vertexAttribsModified(const krString::CString& name) {
  MeshChannel c;
  if (channelFromName(name, c)) {
    setModifiedAndValid(c);
  } else {
    modifiedNames_.insert(name);
    validNames_.insert(name);
  }
}

void MeshModification::vertexAttribsValid(const krString::CString& name) {
  MeshChannel c;
  if (channelFromName(name, c)) {
    setValid(c);
  } else {
    validNames_.insert(name);
  }
}

bool MeshModification::areVertexAttribsModified(const krString::CString& name) const {
  MeshChannel c;
  if (channelFromName(name, c)) return isModified(c);
  return modifiedNames_.find(name) != modifiedNames_.end();
}

bool MeshModification::areVertexAttribsValid(const krString::CString& name) const {
  MeshChannel c;
  if (channelFromName(name, c)) return isValid(c);
  return otherNamesValid_ || validNames_.find(name) != validNames_.end();
}

bool MeshModification::channelFromName(const krString::CString& name, MeshChannel& channel) const {
  struct Entry {
    const krString::CString& (*name)() noexcept;
    MeshChannel channel;
  };
  static constexpr Entry table[] = {{&verticesAttributeName, eVertices},
                                    {&normalsAttributeName, eNormals},
                                    {&uvsAttributeName, eUVs},
                                    {&stsAttributeName, eSTs},
                                    {&coloursAttributeName, eColours}};
  for (const Entry& e : table) {
    if (krString::equal(name, e.name())) {
      channel = e.channel;
      return true;
    }
  }
  return false;
}

}  // namespace krGeom
