#include <geom/meshes/compact_mesh.h>
#include <geom/meshes/mesh_modification.h>

#include <cassert>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <utility>

namespace krGeom {

namespace {

// Sum of (length - drop) over the sequences whose length exceeds drop.
int countSegments(const MeshSequence& sequences, int drop) {
  const int* lengths = sequences.getLengths();
  int sum = 0;
  for (int i = 0; i < sequences.getNumSequences(); ++i) {
    if (lengths[i] > drop) sum += lengths[i] - drop;
  }
  return sum;
}

}  // namespace

// --- Construction and copying ---

CompactMesh::CompactMesh() = default;

CompactMesh::CompactMesh(kr::Reference<ArrayAllocator> allocator)
    : PointMesh(allocator), triangles_(allocator), lines_(allocator), triangleNormals_(allocator) {
  // Empty arrays move to the allocator cleanly.
  triStrips_.setArrayAllocator(allocator);
  triFans_.setArrayAllocator(allocator);
  lineStrips_.setArrayAllocator(allocator);
  polys_.setArrayAllocator(allocator);
}

CompactMesh::CompactMesh(int n, const MeshVertex* v, const MeshNormal* nm, const MeshUV* uv,
                         const MeshColour* c)
    : PointMesh(n, v, nm, uv, c) {}

CompactMesh::CompactMesh(const CompactMesh& other) : PointMesh() {
  *this = other;
}

CompactMesh::~CompactMesh() = default;

CompactMesh& CompactMesh::operator=(const CompactMesh& other) {
  if (this == &other) return *this;
  try {
    assignArrays(other);
  } catch (...) {
    // Half-copied arrays would not fit each other: leave an empty mesh instead.
    resizeVertexArray(0);
    deleteTriangles();
    deleteLines();
    triStrips_.clear();
    triFans_.clear();
    lineStrips_.clear();
    polys_.clear();
    clearSelection();
    throw;
  }
  renderInfo_ = other.renderInfo_;
  drawFlags_ = other.drawFlags_;
  flatShaded_ = other.flatShaded_;
  flatShadedSet_ = other.flatShadedSet_;
  triNormalsComputed_ = other.triNormalsComputed_;
  return *this;
}

void CompactMesh::assignArrays(const CompactMesh& other) {
  PointMesh::operator=(other);
  triangles_ = other.triangles_;
  lines_ = other.lines_;
  triangleNormals_ = other.triangleNormals_;
  triStrips_ = other.triStrips_;
  triFans_ = other.triFans_;
  lineStrips_ = other.lineStrips_;
  polys_ = other.polys_;
  selectedTriangles_ = other.selectedTriangles_;
}

void CompactMesh::swap(CompactMesh& other) {
  PointMesh::swap(other);
  if (hasArrayAllocator() || other.hasArrayAllocator()) return;
  if (this != &other) {
    triangles_.swapContents(other.triangles_);
    lines_.swapContents(other.lines_);
    triangleNormals_.swapContents(other.triangleNormals_);
  }
  selectedTriangles_.swap(other.selectedTriangles_);
  triStrips_.swapContents(other.triStrips_);
  triFans_.swapContents(other.triFans_);
  lineStrips_.swapContents(other.lineStrips_);
  polys_.swapContents(other.polys_);
  std::swap(renderInfo_, other.renderInfo_);
  std::swap(drawFlags_, other.drawFlags_);
  std::swap(flatShaded_, other.flatShaded_);
  std::swap(flatShadedSet_, other.flatShadedSet_);
  std::swap(triNormalsComputed_, other.triNormalsComputed_);
}

void CompactMesh::setArrayAllocator(kr::Reference<ArrayAllocator> allocator) {
  PointMesh::setArrayAllocator(allocator);
  triangles_.setArrayAllocator(allocator);
  lines_.setArrayAllocator(allocator);
  triangleNormals_.setArrayAllocator(allocator);
  triStrips_.setArrayAllocator(allocator);
  triFans_.setArrayAllocator(allocator);
  lineStrips_.setArrayAllocator(allocator);
  polys_.setArrayAllocator(allocator);
}

// --- Triangles, lines and triangle normals ---

int* CompactMesh::getTrianglesRaw() {
  MeshTriangle* t = triangles_.data();
  return t ? t->v : nullptr;
}

const int* CompactMesh::getTrianglesRaw() const {
  const MeshTriangle* t = triangles_.data();
  return t ? t->v : nullptr;
}

float* CompactMesh::getTriangleNormalsRaw() {
  return reinterpret_cast<float*>(triangleNormals_.data());
}

const float* CompactMesh::getTriangleNormalsRaw() const {
  return reinterpret_cast<const float*>(triangleNormals_.data());
}

void CompactMesh::copyTriangles(int n, const int* idx) {
  resizeTriangleArray(n);
  if (n != 0) std::memcpy(triangles_.data(), idx, sizeof(MeshTriangle) * std::size_t(n));
}

void CompactMesh::resizeTriangleArray(int n) {
  assert(n >= 0 && "resizeTriangleArray: negative triangle count");
  if (n == 0) {
    deleteTriangles();
    return;
  }
  const int old = triangles_.size();
  triangles_.resize(n);
  if (triangleNormals_.empty()) return;
  try {
    triangleNormals_.resize(n);
  } catch (...) {
    // Undo a growth (shrinking a heap array needs no memory). A shrink an allocator has already
    // made cannot be undone, and an allocator may fail to shrink: then the triangles go.
    bool undone = n > old;
    try {
      if (undone) triangles_.resize(old);
    } catch (...) {
      undone = false;
    }
    if (!undone) deleteTriangles();
    throw;
  }
}

void CompactMesh::resizeLineArray(int n) {
  lines_.resize(n);
}

void CompactMesh::allocTriangleNormalArray() {
  if (!triangles_.empty() && triangleNormals_.empty()) triangleNormals_.resize(triangles_.size());
}

void CompactMesh::deleteTriangles() {
  if (triangles_.empty()) return;
  triangles_.resize(0);
  triangleNormals_.resize(0);
}

void CompactMesh::deleteLines() {
  lines_.resize(0);
}

void CompactMesh::deleteTriangleNormals() {
  triangleNormals_.resize(0);
}

// --- Sequences ---

void CompactMesh::resizeTriStripArrays(int numPoints, int numSequences) {
  triStrips_.resize(numPoints, numSequences);
}

void CompactMesh::resizeTriFanArrays(int numPoints, int numSequences) {
  triFans_.resize(numPoints, numSequences);
}

void CompactMesh::resizeLineStripArrays(int numPoints, int numSequences) {
  lineStrips_.resize(numPoints, numSequences);
}

void CompactMesh::resizePolyArrays(int numPoints, int numSequences) {
  polys_.resize(numPoints, numSequences);
}

void CompactMesh::fullyPopulateTriangleArray() {
  const int added = countSegments(triStrips_, 2) + countSegments(triFans_, 2);
  if (added < 1) return;
  const int old = triangles_.size();
  triangles_.resize(old + added);
  if (!triangleNormals_.empty()) triangleNormals_.resize(old + added);

  MeshTriangle* out = triangles_.data() + old;
  const int* p = triStrips_.getPoints();
  const int* lengths = triStrips_.getLengths();
  for (int s = 0; s < triStrips_.getNumSequences(); p += lengths[s], ++s) {
    const int k = lengths[s] - 2;
    for (int j = 0; j < k; j += 2) {
      *out++ = MeshTriangle{{p[j], p[j + 1], p[j + 2]}};
      if (j + 1 < k) *out++ = MeshTriangle{{p[j + 2], p[j + 1], p[j + 3]}};
    }
  }
  p = triFans_.getPoints();
  lengths = triFans_.getLengths();
  for (int s = 0; s < triFans_.getNumSequences(); p += lengths[s], ++s) {
    for (int i = 1; i < lengths[s] - 1; ++i) *out++ = MeshTriangle{{p[0], p[i], p[i + 1]}};
  }
}

void CompactMesh::fullyPopulateLineArray() {
  const int added = countSegments(lineStrips_, 1);
  if (added < 1) return;
  const int old = lines_.size();
  lines_.resize(old + added);

  MeshLine* out = lines_.data() + old;
  const int* p = lineStrips_.getPoints();
  const int* lengths = lineStrips_.getLengths();
  for (int s = 0; s < lineStrips_.getNumSequences(); p += lengths[s], ++s) {
    for (int i = 0; i < lengths[s] - 1; ++i) *out++ = MeshLine{{p[i], p[i + 1]}};
  }
}

bool CompactMesh::hasCurveData() const {
  return getNumLineStrips() > 0 || getNumLines() > 0;
}

bool CompactMesh::hasSurfaceData() const {
  return getNumTriangles() > 0 || getNumTriStrips() > 0 || getNumTriFans() > 0 || getNumPolys() > 0;
}

// --- Selection ---

void CompactMesh::clearSelection() {
  getSelectedVertices().resize(0);
  selectedTriangles_.resize(0);
}

// --- Notices and size ---

void CompactMesh::modified(MeshModification& m) {
  if (m.topologyModified()) {
    for (MeshSequence* sequences : {&triStrips_, &triFans_, &lineStrips_, &polys_}) {
      if (sequences->getNumSequences() > 0) sequences->clearCaches();
    }
    if (!m.areTriangleNormalsValid()) deleteTriangleNormals();
    if (!m.areStripsAndFansValid()) {
      deleteTriStrips();
      deleteTriFans();
    }
    if (!m.areLineStripsValid()) deleteLineStrips();
  }
  if (m.transformed() && !m.areTriangleNormalsValid()) deleteTriangleNormals();
  PointMesh::modified(m);
}

int CompactMesh::getSizeInBytes() const {
  std::uint32_t words = 3u * std::uint32_t(triangles_.size() + triangleNormals_.size());
  std::uint32_t starts = 0;
  for (const MeshSequence* sequences : {&triStrips_, &triFans_, &lineStrips_, &polys_}) {
    words += std::uint32_t(sequences->getNumPoints() + sequences->getNumSequences() +
                           sequences->getNumOffsets());
    starts += std::uint32_t(sequences->getNumStarts());
  }
  words += 2u * starts + 130u;
  return static_cast<int>(std::uint32_t(PointMesh::getSizeInBytes()) +
                          std::uint32_t(selectedTriangles_.getSizeInBytes()) + 4u * words);
}

}  // namespace krGeom
