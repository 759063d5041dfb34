#include <geom/meshes/mesh_adjacency.h>

#include <cstddef>
#include <cstdlib>
#include <utility>

namespace krGeom {

namespace {

int tableBytes(const ArrayOfSets& table) {
  return 4 * (table.getNumSets() + table.getSets().size()) + 72;
}

}  // namespace

MeshAdjTris::MeshAdjTris(ArrayOfSets& table) {
  adjacency_.swap(table);
  maxTris_ = adjacency_.computeMaxSetSize();
}

MeshAdjTris::~MeshAdjTris() = default;

void MeshAdjTris::swap(MeshAdjTris& other) {
  adjacency_.swap(other.adjacency_);
  std::swap(maxTris_, other.maxTris_);
}

void MeshAdjTris::copyTriangles(int v, int* out, const int* triangles) const {
  const int n = numTris(v);
  const int* tris = triIndices(v);
  for (int i = 0; i < n; ++i) {
    const int* t = triangles + 3 * static_cast<std::ptrdiff_t>(tris[i]);
    *out++ = t[0];
    *out++ = t[1];
    *out++ = t[2];
  }
}

int MeshAdjTris::numBytesUsed() const {
  return tableBytes(adjacency_);
}

MeshTriAdjTris::MeshTriAdjTris(ArrayOfSets& table) {
  adjacency_.swap(table);
  maxTris_ = adjacency_.computeMaxSetSize();
}

MeshTriAdjTris::~MeshTriAdjTris() = default;

void MeshTriAdjTris::swap(MeshTriAdjTris& other) {
  adjacency_.swap(other.adjacency_);
  std::swap(maxTris_, other.maxTris_);
}

int MeshTriAdjTris::numBytesUsed() const {
  return tableBytes(adjacency_);
}

MeshAdjVertices::MeshAdjVertices(int numVerts, int maxVerts, int* offsets, int* data)
    : offsets_(offsets), data_(data), numVerts_(numVerts), maxVerts_(maxVerts) {}

MeshAdjVertices::~MeshAdjVertices() {
  std::free(offsets_);
  std::free(data_);
}

void MeshAdjVertices::swap(MeshAdjVertices& other) noexcept {
  std::swap(offsets_, other.offsets_);
  std::swap(data_, other.data_);
  std::swap(numVerts_, other.numVerts_);
  std::swap(maxVerts_, other.maxVerts_);
}

}  // namespace krGeom
