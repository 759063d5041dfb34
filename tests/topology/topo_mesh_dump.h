// A byte-exact picture of a TopoMesh for saved-state tests: every record in list order with its
// address and whole contents, and the list heads, tails and counters. Restoring a state must
// bring back the same records (same addresses) with the same bytes, so equal dumps mean equal
// positions, links, metadata and lists.
#pragma once

#include "topology/topo_mesh_impl.h"
#include "topology/topo_mesh_log.h"

#include <geom/topology.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace topodump {

struct RecordImage {
  const void* address;
  std::vector<unsigned char> bytes;
  bool operator==(const RecordImage&) const = default;
};

struct MeshDump {
  std::vector<std::uintptr_t> lists;  // heads, tails and counters
  std::vector<RecordImage> records;   // vertices, then half-edges, then faces
};

// Stops one record past the counter, so a list broken into a cycle still ends.
template <class Rec>
void addImages(std::vector<RecordImage>& out, const Rec* r, std::int32_t count) {
  for (std::int32_t i = 0; r && i <= count; ++i, r = r->nextInMesh) {
    const auto* p = reinterpret_cast<const unsigned char*>(r);
    out.push_back({r, std::vector<unsigned char>(p, p + sizeof(Rec))});
  }
}

inline MeshDump dump(const krGeom::TopoMesh& mesh) {
  const krGeom::TopoMeshLists& l = mesh.getImpl()->lists;
  MeshDump d;
  for (const void* p :
       {(const void*)l.firstVertex, (const void*)l.lastVertex, (const void*)l.firstEdge,
        (const void*)l.lastEdge, (const void*)l.firstFace, (const void*)l.lastFace})
    d.lists.push_back(reinterpret_cast<std::uintptr_t>(p));
  for (std::int32_t n : {l.numVertices, l.numEdges, l.numFaces}) d.lists.push_back(n);
  addImages(d.records, l.firstVertex, l.numVertices);
  addImages(d.records, l.firstEdge, l.numEdges);
  addImages(d.records, l.firstFace, l.numFaces);
  return d;
}

// Empty when equal; otherwise names the first difference.
inline std::string difference(const MeshDump& a, const MeshDump& b) {
  if (a.lists != b.lists || a.records.size() != b.records.size())
    return "list heads, tails, counters or lengths differ";
  for (std::size_t i = 0; i < a.records.size(); ++i) {
    if (a.records[i] == b.records[i]) continue;
    std::ostringstream s;
    s << "record " << i
      << (a.records[i].address != b.records[i].address ? ": another record" : ": contents");
    return s.str();
  }
  return "";
}

// Records handed out by the mesh's pools.
inline std::size_t poolItems(const krGeom::TopoMesh& mesh) {
  const krGeom::TopoMeshImpl& m = *mesh.getImpl();
  return m.vertexPool->numItems() + m.edgePool->numItems() + m.facePool->numItems();
}

// Pool records that are neither live in the mesh, a saved copy, nor held by the log for a state
// that can bring them back: a leak inside the pools when not 0.
inline std::int64_t unaccounted(const krGeom::TopoMesh& mesh) {
  const krGeom::TopoMeshLogUsage u = mesh.getImpl()->log()->usage();
  return static_cast<std::int64_t>(poolItems(mesh)) - mesh.numVertices() - mesh.numEdges() -
         mesh.numFaces() - u.copies - u.pendingCopies - u.heldRecords;
}

}  // namespace topodump
