// Helpers shared by the mesh tests.
#pragma once

#include <geom/meshes/compact_mesh.h>

#include <algorithm>
#include <string>
#include <vector>

namespace krGeom::mesh_fixtures {

using Ints = std::vector<int>;

// Sets a sequence list to these points, split into sequences of these lengths.
inline void fillSequences(MeshSequence& out, const Ints& points, const Ints& lengths) {
  out.resize(static_cast<int>(points.size()), static_cast<int>(lengths.size()));
  std::copy(points.begin(), points.end(), out.getPoints());
  std::copy(lengths.begin(), lengths.end(), out.getLengths());
}

// A mesh of n vertices (i, i % 8, i / 2) and the given index triangles.
inline kr::Reference<CompactMesh> triangleMesh(int n, const Ints& tris,
                                               kr::Reference<ArrayAllocator> allocator = nullptr) {
  kr::Reference<CompactMesh> mesh(new CompactMesh(allocator));
  mesh->resizeVertexArray(n);
  for (int i = 0; i < n; ++i) mesh->getVertices()[i].set(float(i), float(i % 8), 0.5f * i);
  mesh->copyTriangles(static_cast<int>(tris.size() / 3), tris.data());
  return mesh;
}

// The attribute names in list order, each followed by a space.
inline std::string attributeNames(const PointMesh& mesh) {
  std::string names;
  for (int i = 0; i < mesh.getNumAttributes(); ++i)
    names.append(mesh.getAttributes(i)->getName().str()).append(" ");
  return names;
}

}  // namespace krGeom::mesh_fixtures
