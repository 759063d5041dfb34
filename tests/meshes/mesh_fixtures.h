// Small named meshes shared by the mesh tests.
#pragma once

#include <geom/meshes/compact_mesh.h>
#include <kr/reference.h>

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

namespace krGeom::testing {

inline MeshVertex vertex(float x, float y, float z) {
  MeshVertex v;
  v.set(x, y, z);
  return v;
}

// An allocator that never holds storage: a mesh that has it counts as allocator-backed.
class NullAllocator : public ArrayAllocator {
 public:
  const void* get(const void*) const override { return nullptr; }
  void* get(const void*) override { return nullptr; }
  void resize(const void*, std::size_t) override {}
  void free(const void*) override {}
};

// The attribute names of a mesh in list order.
inline std::vector<std::string> attributeNames(const PointMesh& mesh) {
  std::vector<std::string> names;
  for (int i = 0; i < mesh.getNumAttributes(); ++i) {
    names.push_back(mesh.getAttributes(i)->getName().str());
  }
  return names;
}

// Fills a sequence list of a mesh from explicit sequences.
inline void fillSequences(MeshSequence& out, std::initializer_list<std::vector<int>> sequences) {
  int points = 0;
  for (const std::vector<int>& s : sequences) points += static_cast<int>(s.size());
  out.resize(points, static_cast<int>(sequences.size()));
  int* p = out.getPoints();
  int* lengths = out.getLengths();
  for (const std::vector<int>& s : sequences) {
    p = std::copy(s.begin(), s.end(), p);
    *lengths++ = static_cast<int>(s.size());
  }
}

// One triangle (0, 1, 2) in the z = 0 plane.
inline kr::Reference<CompactMesh> loneTriangle() {
  const MeshVertex v[] = {vertex(0, 0, 0), vertex(1, 0, 0), vertex(0, 1, 0)};
  kr::Reference<CompactMesh> mesh(new CompactMesh(3, v, nullptr, nullptr, nullptr));
  const int tri[] = {0, 1, 2};
  mesh->copyTriangles(1, tri);
  return mesh;
}

// A unit square as one triangle strip 0 1 2 3 of two triangles, no explicit triangles.
inline kr::Reference<CompactMesh> stripOfTwo() {
  const MeshVertex v[] = {vertex(0, 0, 0), vertex(0, 1, 0), vertex(1, 0, 0), vertex(1, 1, 0)};
  kr::Reference<CompactMesh> mesh(new CompactMesh(4, v, nullptr, nullptr, nullptr));
  fillSequences(mesh->getTriStrips(), {{0, 1, 2, 3}});
  return mesh;
}

// A hexagon around centre vertex 0 as one closed fan 0 1 2 3 4 5 6 1 of six triangles.
inline kr::Reference<CompactMesh> closedFanOfSix() {
  const MeshVertex v[] = {vertex(0, 0, 0),  vertex(2, 0, 0),   vertex(1, 2, 0), vertex(-1, 2, 0),
                          vertex(-2, 0, 0), vertex(-1, -2, 0), vertex(1, -2, 0)};
  kr::Reference<CompactMesh> mesh(new CompactMesh(7, v, nullptr, nullptr, nullptr));
  fillSequences(mesh->getTriFans(), {{0, 1, 2, 3, 4, 5, 6, 1}});
  return mesh;
}

// An nu x nv grid of vertices (x = u, y = v) with two triangles per quad; vertex u + v * nu.
inline kr::Reference<CompactMesh> quadGrid(int nu, int nv) {
  std::vector<MeshVertex> v;
  for (int j = 0; j < nv; ++j) {
    for (int i = 0; i < nu; ++i) v.push_back(vertex(float(i), float(j), 0));
  }
  std::vector<int> tris;
  for (int j = 0; j + 1 < nv; ++j) {
    for (int i = 0; i + 1 < nu; ++i) {
      const int a = i + j * nu, b = a + 1, c = a + nu, d = c + 1;
      tris.insert(tris.end(), {a, b, d, a, d, c});
    }
  }
  kr::Reference<CompactMesh> mesh(new CompactMesh(nu * nv, v.data(), nullptr, nullptr, nullptr));
  mesh->copyTriangles(static_cast<int>(tris.size() / 3), tris.data());
  return mesh;
}

}  // namespace krGeom::testing
