// TopoMesh: the library's editable polygon mesh, a half-edge structure of vertices, half-edges
// and faces with local editing operations that keep the twin links consistent.
//
//   kr::Reference<krGeom::TopoMesh> mesh(new krGeom::TopoMesh());
//   auto a = mesh->allocVertex({0, 0, 0}), b = mesh->allocVertex({1, 0, 0}),
//        c = mesh->allocVertex({0, 1, 0}), d = mesh->allocVertex({1, 1, 0});
//   mesh->allocTriangle(a, b, c);
//   mesh->allocTriangle(b, d, c);               // pairs b-c with the first triangle's c-b
//   mesh->swapEdge(krGeom::TopoMesh::findEdge(b, c));
//   assert(mesh->findBrokenInvariant().empty());
//
// Records come from three fixed-size pools and are appended to three creation-ordered lists
// (firstVertex(), firstEdge(), firstFace(), then nextInMesh()). Every edit is local: it touches
// a constant number of records apart from walking one face loop or one vertex fan, so handles of
// untouched records stay valid. Nothing is validated: null handles, records of another mesh and
// non-triangles where a triangle is expected are undefined behaviour; the operations that can
// refuse say so through their result. With transactions enabled every change is logged so that
// saved states (createState, setState) can be restored, and deleted records stay allocated while
// a saved state can bring them back. A mesh and its handles are used from one thread at a time.
//
// Running out of memory: every operation that allocates may throw std::bad_alloc, and each gives
// the strong guarantee. An edit, createState and setState leave the mesh, its pending changes and
// its saved states exactly as they were; a copy or assignment leaves its target (and the source)
// untouched, though copy() may have added entries to the maps. Dropping the last reference to a
// state never throws: when memory is short for merging change sets, the state just stays in the
// tree until a later pruning passes it or the mesh goes.
#pragma once

#include <geom/export.h>
#include <geom/foundation/entity.h>
#include <geom/topology/topo_mesh_entities.h>
#include <geom/topology/topo_mesh_state.h>

#include <kr/containers.h>
#include <kr/linear/point.h>
#include <kr/reference.h>
#include <kr/string.h>

#include <cstdint>
#include <map>
#include <memory>

class ioPacketRegistry;
class ioWriteContext;

namespace krGeom {

class TopoMeshImpl;

class KRGEOM_EXPORT TopoMesh : public Entity {
 public:
  // Record correspondences a copy leaves behind: source record -> copied record.
  struct CopyData {
    std::map<const TopoMeshVertexData*, TopoMeshVertexData*> vertexMap;
    std::map<const TopoMeshEdgeData*, TopoMeshEdgeData*> edgeMap;
    std::map<const TopoMeshFaceData*, TopoMeshFaceData*> faceMap;
  };

  // ---- Construction, copy, size ----

  // An empty mesh without a transaction log.
  TopoMesh();
  // A full copy (records, lists, links, metadata); the copy has no transaction log.
  TopoMesh(const TopoMesh& other);
  // Replaces the contents by a copy of `other`; safe when `other` is this mesh.
  TopoMesh& operator=(const TopoMesh& other);
  // Destroys the transaction log and its states, then every record.
  ~TopoMesh() override;

  // Makes this mesh a copy of `source` and records which copied record stands for which source
  // record in `maps` (entries are added; existing ones stay). Safe when `source` is this mesh.
  void copy(const TopoMesh& source, CopyData& maps);
  // Exchanges the contents (implementations) of two meshes; handles follow their records.
  void swap(TopoMesh& other) noexcept;

  // A rough size: 8 x (vertices + faces + half-edges) + 144. Not the pool memory.
  std::int64_t getSizeInBytes() const noexcept;

  int numVertices() const noexcept;
  int numFaces() const noexcept;
  // The number of half-edges.
  int numEdges() const noexcept;
  // Heads of the creation-ordered lists; walk on with nextInMesh().
  TopoMeshVertex firstVertex() const noexcept;
  TopoMeshFace firstFace() const noexcept;
  TopoMeshEdge firstEdge() const noexcept;

  // ---- Creating ----

  // A new isolated vertex at p.
  TopoMeshVertex allocVertex(const krLinear::Point& p);
  // A new face whose loop visits the vertices in the given order. Each new half-edge is paired
  // with the first existing half-edge running the other way (taken even if it already has a
  // twin), and that half-edge's metadata is overwritten with the new half-edge's zeros.
  TopoMeshFace allocTriangle(TopoMeshVertex a, TopoMeshVertex b, TopoMeshVertex c);
  TopoMeshFace allocQuad(TopoMeshVertex a, TopoMeshVertex b, TopoMeshVertex c, TopoMeshVertex d);
  // Precondition: at least one vertex.
  TopoMeshFace allocFace(const kr::vector<TopoMeshVertex>& vertices);

  // ---- Deleting ----

  // Deletes the face and its half-edges; its vertices stay, possibly isolated.
  void deleteFace(TopoMeshFace f);
  // Merges the two faces of an interior edge into e's face; false (and no change) for a
  // boundary half-edge.
  bool deleteEdge(TopoMeshEdge e);
  // Valence 1: deletes the vertex's face, returns null. Valence 3: replaces the three faces by
  // one triangle, paired with the outer neighbours, and returns it. The vertex is released in
  // every case; an isolated vertex is simply released. Precondition: valence 0, 1 or 3 (other
  // valences release the vertex and leave half-edges starting at it; debug builds assert).
  TopoMeshFace deleteVertex(TopoMeshVertex v);
  // Joins the two edges at a vertex of valence 2 (or a boundary vertex of valence 1) into one;
  // does nothing when a face would become a two-gon.
  void deleteValenceTwoVertex(TopoMeshVertex v);

  // ---- Changing topology ----

  // Deletes e's face and merges e's origin into its second vertex, which is returned.
  // Precondition: e.prev() has a twin, or e's face is the only one at e's origin (otherwise the
  // origin is released with half-edges still starting at it; debug builds assert).
  TopoMeshVertex contractEdge(TopoMeshEdge e);
  // Deletes the one or two triangles at e and merges e's origin into its second vertex, which
  // is returned.
  TopoMeshVertex collapseEdge(TopoMeshEdge e);
  // Splits e (and its twin) at a new vertex at p, which is returned. The twin side's half
  // next to the old twin loses its metadata (tag 0).
  TopoMeshVertex subdivideEdge(TopoMeshEdge e, const krLinear::Point& p);
  // Fans the face from a new centre vertex at p, which is returned.
  TopoMeshVertex subdivideFace(TopoMeshFace f, const krLinear::Point& p);
  // Cuts the face by a new edge between two of its corners; returns the half-edge from a to b,
  // which stays in f.
  TopoMeshEdge subdivideFace(TopoMeshFace f, TopoMeshVertex a, TopoMeshVertex b);
  // Cuts the face by a chain from a through new vertices at the points to b; returns the face
  // beyond the chain. When a and b are already joined by a side of f, that side is cut off into
  // the returned face. Precondition: at least one point in that case (debug builds assert).
  // Deliberate quirk: when the side runs from b to a, the last point is placed first and every
  // other point is inserted right after it, so with k >= 3 points the chain from b runs
  // p[k-1], p[0], p[1], ..., p[k-2] to a.
  TopoMeshFace subdivideFace(TopoMeshFace f, TopoMeshVertex a, TopoMeshVertex b,
                             const kr::vector<krLinear::Point>& points);
  // Cuts e (a to b) off f into a new triangle (a, b, c) with a new vertex c at p, which is
  // returned; f's loop runs a, c, b where it ran a, b. When e was f's firstEdge, f's firstEdge
  // becomes the new half-edge from a to c.
  TopoMeshVertex subdivideFace(TopoMeshFace f, TopoMeshEdge e, const krLinear::Point& p);
  // Cuts e from its twin and gives the fan beyond the cut a new vertex, which is returned.
  // Precondition: v is a boundary vertex and e leaves v (debug builds assert).
  TopoMeshVertex splitVertex(TopoMeshVertex v, TopoMeshEdge e);
  // Cuts e1 (arriving at a vertex x) and e2 (leaving x) from their twins and gives the fan
  // between them a new vertex, which is returned.
  TopoMeshVertex splitVertex(TopoMeshEdge e1, TopoMeshEdge e2);
  // Separates the two faces along e, giving both ends new vertices on the twin's side.
  // Precondition: e has a twin and both its ends lie on the boundary, so that the cut splits
  // their fans (debug builds assert).
  void splitEdge(TopoMeshEdge e);
  // Cuts a face by a new edge between the origins of two of its half-edges; returns the new
  // face, which holds e1.
  TopoMeshFace splitFace(TopoMeshEdge e1, TopoMeshEdge e2);
  // Glues two boundary half-edges running in opposite directions into twins, merging their end
  // vertices; e1's metadata goes onto e2.
  void mergeVertices(TopoMeshEdge e1, TopoMeshEdge e2);
  // Flips the diagonal shared by two triangles; false (and no change) when the flipped edge
  // would duplicate an existing one.
  bool swapEdge(TopoMeshEdge e);

  // ---- Links and geometry ----

  // The half-edge from a to b (the first in a's fan order), null if none.
  static TopoMeshEdge findEdge(TopoMeshVertex a, TopoMeshVertex b) noexcept;
  // Makes the two half-edges twins and copies e1's 20 metadata slots onto e2.
  void setTwins(TopoMeshEdge e1, TopoMeshEdge e2);
  // Moves a vertex.
  void setPoint(TopoMeshVertex v, const krLinear::Point& p);

  // ---- Transactions and notices ----

  // Starts logging changes; creates the root state and makes it current. Once on, stays on.
  void enableTransactions();
  // A saved state of the mesh as it is now (the current state when nothing changed since).
  // Precondition: transactions are enabled.
  kr::Reference<TopoMeshState> createState();
  // Brings the mesh to a saved state of this mesh. Edits made since the last createState are
  // discarded first. Precondition: transactions are enabled.
  void setState(kr::Reference<TopoMeshState> state);
  // Sends the notice to the modification signal's observers. The mesh is not touched after the
  // delivery, so an observer may edit it again or destroy it (see entity.h).
  void modified(TopoMeshModification& m);

  // ---- Packets ----

  // Registers the packet types "kr.geom.topomesh", ".vertex", ".edge" and ".face" with the
  // registry, which takes them. A read hands each mesh out through
  // ioReadContext::takeObjects("kr.geom.topomesh") as a TopoMesh* for the caller to hold in a
  // kr::Reference. The reader trusts nothing: a record that names no mesh of the stream, a link to
  // a record of another kind or another mesh, or a mesh whose links fail findBrokenInvariant
  // fails the read, and such a mesh is destroyed, never handed out. Blind data and saved states are
  // not stored; a mesh read back has no log, and its records' metadata is unspecified.
  static void registerTypes(ioPacketRegistry& registry);
  // Writes the mesh packet, then one packet per vertex, half-edge and face in list order. May
  // throw std::bad_alloc from the write context; the stream is then incomplete, the mesh as it was.
  void writePF(ioWriteContext& out) const;

  // ---- Checking ----

  // Walks the lists and loops and describes the first broken structural invariant (list links
  // and counters, closed loops with one face, symmetric opposite twins, outgoing firstEdge
  // fields); empty when everything holds. Linear in the mesh size; meant for tests and
  // debugging.
  krString::CString findBrokenInvariant() const;

  TopoMeshImpl* getImpl() const noexcept { return impl_.get(); }

 private:
  // copy(), filling `maps` when it is not null.
  void copyFrom(const TopoMesh& source, CopyData* maps);

  std::unique_ptr<TopoMeshImpl> impl_;
};

}  // namespace krGeom
