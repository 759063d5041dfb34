// The structural check of a half-edge mesh just read from a packet stream. While a mesh is read,
// one metadata slot of each of its records holds a tag naming the mesh, so that the check tells
// the mesh's records from those of another mesh of the stream and marks list membership in place
// of the address maps that TopoMesh::findBrokenInvariant builds: the same invariants, in linear
// time without hashing. The tags are cleared once the mesh passes.
#pragma once

#include <geom/topology/topo_mesh.h>

#include "../topology/topo_mesh_impl.h"

#include <cstdint>
#include <string>

namespace krGeom::packets {

// Marks a record as read for `mesh` (not yet in any list).
void tagRecord(void* metadata, const TopoMesh* mesh);

// Checks the lists, loops and twins of a mesh read with tagged records; on success clears the
// tags and returns an empty string, otherwise returns what is broken.
std::string checkReadMesh(TopoMesh& mesh);

}  // namespace krGeom::packets
