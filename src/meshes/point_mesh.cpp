#include <geom/meshes/mesh_modification.h>
#include <geom/meshes/point_mesh.h>
#include <geom/spatial/bounding_box.h>

#include <cassert>
#include <utility>

namespace krGeom {

namespace {

// Element pointers of the standard attributes: null without the attribute.
template <class R>
R* typed(MeshAttributes* a, R* (MeshAttributes::*view)()) {
  return a ? (a->*view)() : nullptr;
}
template <class R>
const R* typed(const MeshAttributes* a, const R* (MeshAttributes::*view)() const) {
  return a ? (a->*view)() : nullptr;
}

bool isStandardDimension(const krString::CString& name, int dimension) {
  if (krString::equal(name, normalsAttributeName())) return dimension == 3;
  if (krString::equal(name, uvsAttributeName())) return dimension == 2;
  if (krString::equal(name, stsAttributeName())) return dimension == 2;
  if (krString::equal(name, coloursAttributeName())) return dimension == 4;
  return true;
}

}  // namespace

void PointMesh::AttributeDeleter::operator()(MeshAttributes* attribute) const noexcept {
  delete attribute;
}

// --- Construction and copying ---

PointMesh::PointMesh() = default;

PointMesh::PointMesh(kr::Reference<ArrayAllocator> allocator) : allocator_(std::move(allocator)) {}

PointMesh::PointMesh(int n, const MeshVertex* v, const MeshNormal* nm, const MeshUV* uv,
                     const MeshColour* c)
    : numVertices_(n) {
  if (n < 1) return;
  MeshAttributes* vertices = appendAttribute(verticesAttributeName(), 3);
  if (v) vertices->copyArray(reinterpret_cast<const float*>(v));
  if (nm) appendAttribute(normalsAttributeName(), 3)->copyArray(reinterpret_cast<const float*>(nm));
  if (uv) appendAttribute(uvsAttributeName(), 2)->copyArray(reinterpret_cast<const float*>(uv));
  if (c) appendAttribute(coloursAttributeName(), 4)->copyArray(reinterpret_cast<const float*>(c));
}

PointMesh::PointMesh(const PointMesh& other) : Entity() {
  *this = other;
}

PointMesh::~PointMesh() = default;

PointMesh& PointMesh::operator=(const PointMesh& other) {
  if (this == &other) return *this;
  // Everything is copied aside first, so that a failure leaves this mesh as it was.
  std::vector<AttributePtr> copies;
  copies.reserve(other.attributes_.size());
  for (const AttributePtr& source : other.attributes_) {
    copies.emplace_back(new MeshAttributes(*source));  // reserved: the push cannot throw
  }
  BitVector selection(other.selectedVertices_);
  attributes_.swap(copies);
  numVertices_ = other.numVertices_;
  refreshStandardPointers();
  selectedVertices_.swap(selection);
  return *this;
}

void PointMesh::swap(PointMesh& other) {
  if (hasArrayAllocator() || other.hasArrayAllocator()) return;
  attributes_.swap(other.attributes_);
  std::swap(vertices_, other.vertices_);
  std::swap(normals_, other.normals_);
  std::swap(uvs_, other.uvs_);
  std::swap(sts_, other.sts_);
  std::swap(colours_, other.colours_);
  std::swap(numVertices_, other.numVertices_);
  selectedVertices_.swap(other.selectedVertices_);
}

// --- Allocator ---

void PointMesh::setArrayAllocator(kr::Reference<ArrayAllocator> allocator) {
  allocator_ = std::move(allocator);
  for (AttributePtr& attribute : attributes_) attribute->setArrayAllocator(allocator_);
}

// --- Vertices and the standard attributes ---

void PointMesh::copyVertices(int n, const MeshVertex* v) {
  resizeVertexArray(n);
  if (n != 0) vertices_->copyArray(reinterpret_cast<const float*>(v));
}

void PointMesh::resizeVertexArray(int n) {
  assert(n >= 0 && "resizeVertexArray: negative vertex count");
  if (n == 0) {
    numVertices_ = 0;
    destroyAttributes();
    return;
  }
  const int old = numVertices_;
  if (old == 0) {
    numVertices_ = n;  // the size appendAttribute gives
    try {
      appendAttribute(verticesAttributeName(), 3);
    } catch (...) {
      numVertices_ = old;
      throw;
    }
    return;
  }
  std::size_t done = 0;
  try {
    for (; done < attributes_.size(); ++done) {
      attributes_[done]->resize(attributes_[done]->getDimension() * n);
    }
  } catch (...) {
    // Undo a growth: the grown attributes shrink back, which needs no memory on the heap. A
    // shrink cannot be undone when an allocator has already dropped the tails, and an allocator
    // may fail to shrink: then the mesh is emptied rather than left with mixed sizes.
    bool undone = n > old;
    try {
      for (std::size_t k = 0; undone && k < done; ++k) {
        attributes_[k]->resize(attributes_[k]->getDimension() * old);
      }
    } catch (...) {
      undone = false;
    }
    if (!undone) {
      numVertices_ = 0;
      destroyAttributes();
    }
    throw;
  }
  numVertices_ = n;
}

MeshVertex* PointMesh::getVertices() {
  return typed(vertices_, &MeshAttributes::asMeshVertex);
}
const MeshVertex* PointMesh::getVertices() const {
  return typed<MeshVertex>(vertices_, &MeshAttributes::asMeshVertex);
}
float* PointMesh::getVerticesRaw() {
  return typed(vertices_, &MeshAttributes::asFloat);
}
const float* PointMesh::getVerticesRaw() const {
  return typed<float>(vertices_, &MeshAttributes::asFloat);
}
MeshNormal* PointMesh::getNormals() {
  return typed(normals_, &MeshAttributes::asMeshNormal);
}
const MeshNormal* PointMesh::getNormals() const {
  return typed<MeshNormal>(normals_, &MeshAttributes::asMeshNormal);
}
float* PointMesh::getNormalsRaw() {
  return typed(normals_, &MeshAttributes::asFloat);
}
const float* PointMesh::getNormalsRaw() const {
  return typed<float>(normals_, &MeshAttributes::asFloat);
}
MeshUV* PointMesh::getUVs() {
  return typed(uvs_, &MeshAttributes::asMeshUV);
}
const MeshUV* PointMesh::getUVs() const {
  return typed<MeshUV>(uvs_, &MeshAttributes::asMeshUV);
}
float* PointMesh::getUVsRaw() {
  return typed(uvs_, &MeshAttributes::asFloat);
}
const float* PointMesh::getUVsRaw() const {
  return typed<float>(uvs_, &MeshAttributes::asFloat);
}
MeshUV* PointMesh::getSTs() {
  return typed(sts_, &MeshAttributes::asMeshUV);
}
const MeshUV* PointMesh::getSTs() const {
  return typed<MeshUV>(sts_, &MeshAttributes::asMeshUV);
}
float* PointMesh::getSTsRaw() {
  return typed(sts_, &MeshAttributes::asFloat);
}
const float* PointMesh::getSTsRaw() const {
  return typed<float>(sts_, &MeshAttributes::asFloat);
}
MeshColour* PointMesh::getColours() {
  return typed(colours_, &MeshAttributes::asMeshColour);
}
const MeshColour* PointMesh::getColours() const {
  return typed<MeshColour>(colours_, &MeshAttributes::asMeshColour);
}
float* PointMesh::getColoursRaw() {
  return typed(colours_, &MeshAttributes::asFloat);
}
const float* PointMesh::getColoursRaw() const {
  return typed<float>(colours_, &MeshAttributes::asFloat);
}

void PointMesh::allocNormalArray() {
  if (!normals_ && numVertices_ != 0) appendAttribute(normalsAttributeName(), 3);
}
void PointMesh::allocUVArray() {
  if (!uvs_ && numVertices_ != 0) appendAttribute(uvsAttributeName(), 2);
}
void PointMesh::allocSTArray() {
  if (!sts_ && numVertices_ != 0) appendAttribute(stsAttributeName(), 2);
}
void PointMesh::allocColourArray() {
  if (!colours_ && numVertices_ != 0) appendAttribute(coloursAttributeName(), 4);
}

void PointMesh::deleteNormals() {
  deleteAttributes(normalsAttributeName());
}
void PointMesh::deleteUVs() {
  deleteAttributes(uvsAttributeName());
}
void PointMesh::deleteSTs() {
  deleteAttributes(stsAttributeName());
}
void PointMesh::deleteColours() {
  deleteAttributes(coloursAttributeName());
}

bool PointMesh::getNormalsComputed() const {
  return normals_ && !normals_->isStoreable();
}

void PointMesh::setNormalsComputed(bool computed) {
  if (normals_) normals_->setStoreable(!computed);
}

// --- General attributes ---

MeshAttributes* PointMesh::getAttributes(int i) {
  if (i < 0 || i >= getNumAttributes()) return nullptr;
  return attributes_[static_cast<std::size_t>(i)].get();
}

const MeshAttributes* PointMesh::getAttributes(int i) const {
  if (i < 0 || i >= getNumAttributes()) return nullptr;
  return attributes_[static_cast<std::size_t>(i)].get();
}

MeshAttributes* PointMesh::getAttributes(const krString::CString& name) {
  return getAttributes(findAttribute(name));
}

const MeshAttributes* PointMesh::getAttributes(const krString::CString& name) const {
  return getAttributes(findAttribute(name));
}

void PointMesh::getAttributeNames(
    kr::set<krString::CString, kr::less<krString::CString>>& names) const {
  for (const AttributePtr& attribute : attributes_) names.insert(attribute->getName());
}

MeshAttributes* PointMesh::allocAttributes(const krString::CString& name, int dimension) {
  if (dimension < 1 || dimension > 4 || numVertices_ == 0) return nullptr;
  if (krString::equal(name, verticesAttributeName())) return nullptr;
  if (MeshAttributes* existing = getAttributes(name)) {
    return existing->getDimension() == dimension ? existing : nullptr;
  }
  if (!isStandardDimension(name, dimension)) return nullptr;
  return appendAttribute(name, dimension);
}

void PointMesh::deleteAttributes(const krString::CString& name) {
  const int i = findAttribute(name);
  if (i < 0 || krString::equal(name, verticesAttributeName())) return;
  attributes_.erase(attributes_.begin() + i);
  refreshStandardPointers();
}

// --- Bounds and ranges ---

void PointMesh::getBoundingBox(BoundingBox& box) const {
  if (!vertices_) {
    box.setInvalid();
    return;
  }
  box = vertices_->getRange3();
}

void PointMesh::getBoundingBox(krLinear::Range3d& range) const {
  if (!vertices_) {
    range.setUnbounded();
    return;
  }
  range = vertices_->getRange3();
}

krLinear::Range2d PointMesh::getUVRange() const {
  krLinear::Range2d range;
  range.setUnbounded();
  if (uvs_) range = uvs_->getRange2();
  return range;
}

void PointMesh::setUVRange(const krLinear::Range2d& r) {
  if (uvs_) uvs_->setRange2(r);
}

krLinear::Range2d PointMesh::getSTRange() const {
  krLinear::Range2d range;
  range.setUnbounded();
  if (sts_) range = sts_->getRange2();
  return range;
}

void PointMesh::setSTRange(const krLinear::Range2d& r) {
  if (sts_) sts_->setRange2(r);
}

// --- Notices and size ---

void PointMesh::modified(MeshModification& m) {
  bool removed = false;
  for (auto it = attributes_.begin(); it != attributes_.end();) {
    const krString::CString& name = (*it)->getName();
    if (m.areVertexAttribsValid(name)) {
      if (m.areVertexAttribsModified(name)) (*it)->invalidateRange();
      ++it;
    } else {
      m.vertexAttribsModified(name);
      it = attributes_.erase(it);
      removed = true;
    }
  }
  if (removed) refreshStandardPointers();
  sendMessage(m);
}

int PointMesh::getSizeInBytes() const {
  // Summed in unsigned 32-bit arithmetic so that a huge mesh wraps instead of overflowing.
  std::uint32_t size = 136u + static_cast<std::uint32_t>(selectedVertices_.getSizeInBytes());
  for (const AttributePtr& attribute : attributes_) {
    size += static_cast<std::uint32_t>(attribute->getSizeInBytes());
  }
  return static_cast<int>(size);
}

// --- Private helpers ---

MeshAttributes* PointMesh::appendAttribute(const krString::CString& name, int dimension) {
  AttributePtr attribute(new MeshAttributes(name, dimension, numVertices_, allocator_));
  attributes_.push_back(std::move(attribute));  // on failure `attribute` still owns it
  refreshStandardPointers();
  return attributes_.back().get();
}

int PointMesh::findAttribute(const krString::CString& name) const {
  for (std::size_t i = 0; i < attributes_.size(); ++i) {
    if (krString::equal(attributes_[i]->getName(), name)) return static_cast<int>(i);
  }
  return -1;
}

void PointMesh::refreshStandardPointers() {
  MeshAttributes* found[5] = {};
  const krString::CString* names[5] = {&verticesAttributeName(), &normalsAttributeName(),
                                       &uvsAttributeName(), &stsAttributeName(),
                                       &coloursAttributeName()};
  for (const AttributePtr& attribute : attributes_) {
    for (int k = 0; k < 5; ++k) {
      if (!found[k] && krString::equal(attribute->getName(), *names[k])) {
        found[k] = attribute.get();
        break;
      }
    }
  }
  vertices_ = found[0];
  normals_ = found[1];
  uvs_ = found[2];
  sts_ = found[3];
  colours_ = found[4];
}

void PointMesh::destroyAttributes() {
  attributes_.clear();
  refreshStandardPointers();
}

}  // namespace krGeom
