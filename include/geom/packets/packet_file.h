// krGeom::packetFile: CompactMeshes, cameras, viewports and eye-space frustums as packets of a
// packet stream (<kr/packet.h>), and back.
//
//   ioWriteContext out;
//   out.openFile("scene.krp");
//   krGeom::packetFile::writeMesh(out, mesh.get(), 1.0, false);
//   out.close();
//
//   ioPacketRegistry registry;
//   ioReadContext in(registry);
//   krGeom::packetFile::ReadInterface reader(in);
//   krGeom::packetFile::registerTypes(&registry, &reader);
//   ioStatus status = in.readFile("scene.krp");
//   kr::Reference<krGeom::CompactMesh> mesh(reader.getLastMesh(true));
//
// A mesh is one header packet "kr.st.mesh" followed by array packets of at most 1000 elements
// ("kr.st.mesh.vertices", ".normals", ".uvs", ".sts", ".colours", ".triangles", ".trinormals",
// ".seqarray"). Array packets always go to the mesh of the latest header.
//
// Input is untrusted: a header whose counts need more data than the stream still holds (beyond an
// allowance of 1 MiB for the whole read, so that a hand-made header alone still reads), an array
// packet without a mesh, a run outside the arrays the header sized, or an index that names no
// vertex (or sequence lengths that add up past their points) fails its packet, so the read stops
// with a status naming it; nothing of that packet reaches the mesh. Arrays are zero-filled when the
// header sizes them, so runs a stream leaves out read as zeros. One thread at a time.
#pragma once

#include <geom/export.h>
#include <kr/packet.h>
#include <kr/reference.h>

#include <vector>

namespace krGeom {

class Camera;
class CompactMesh;
class EyeSpaceFrustum;
class Viewport;

class KRGEOM_EXPORT packetFile {
 public:
  packetFile() = delete;

  // The caller's side of a read: the packet types call one handler per packet, which reads the
  // packet from the bound read context and rebuilds the mesh.
  //
  // Meshes are reference-counted entities. The interface holds a reference to every mesh it
  // built until it is destroyed (so meshes it overwrote as the last mesh are not leaked).
  // getLastMesh(true) hands the interface's reference to the caller, who holds the mesh in a
  // kr::Reference or deletes it. Other pointers (getLastMesh(false), and for meshes written with
  // references ioReadContext::takeObjects("kr.st.mesh")) stay valid while the interface lives;
  // hold them in a kr::Reference to keep them longer.
  class KRGEOM_EXPORT ReadInterface : public ioClientReadContext {
   public:
    // Reads from `in`, which must outlive the interface.
    explicit ReadInterface(ioReadContext& in);
    // The same read context, last mesh (shared) and ignore flag.
    ReadInterface(const ReadInterface& o);
    ReadInterface& operator=(const ReadInterface&) = delete;
    // Drops the interface's references to the meshes it built.
    ~ReadInterface() override;

    // While set, every mesh packet is a no-op (a header packet is marked invalid).
    void setIgnoreMesh(bool ignore) { ignoreMesh_ = ignore; }
    bool getIgnoreMesh() const { return ignoreMesh_; }
    // The mesh of the latest header packet, or null; with release the caller takes it over and
    // the interface forgets it, so later array packets have no mesh to go to.
    CompactMesh* getLastMesh(bool release);

    // Packet handlers, one per packet name; each reads the current packet.
    void readMesh();
    void readMeshVertices();
    void readMeshNormals();
    void readMeshUVs();
    void readMeshSTs();
    void readMeshColours();
    void readMeshTriangles();
    void readMeshTriNormals();
    void readMeshSeqArray();

    // Sub-packets written by writeCamera, writeViewport and writeEyeSpaceFrustum, read from the
    // current packet.
    void readCamera(Camera& camera);
    void readViewport(Viewport& viewport);
    void readEyeSpaceFrustum(EyeSpaceFrustum& frustum);

   private:
    // Running sums of the sequence lengths of the latest mesh, by sequence kind.
    struct SequenceSums {
      long long lengths[4] = {0, 0, 0, 0};
    };
    // The latest mesh's big arrays, and how far runs have filled each.
    enum FillSlot { eVertices, eNormals, eUVs, eSTs, eColours, eTriangles, eTriNormals };
    static constexpr int kFillSlots = 7;
    struct Slot {
      void* values;  // null when the mesh has no such array
      int width;     // 4-byte values per element
      int size;      // elements
    };
    struct Filled {
      int elements[kFillSlots] = {};
    };
    Slot slot(int which) const;
    // Zeroes the gap between what runs filled and `first`, then counts the run as filled.
    void fillUpTo(int which, int first, int count);
    // Zeroes what no run of the latest mesh reached.
    void finishMesh();
    // Reads one run of floats into the array of that slot after checking it against the array.
    void readFloatRun(int which);
    // Reads the owner field; the latest mesh, or null (failing the packet) when there is none.
    CompactMesh* meshForRun();

    CompactMesh* lastMesh_ = nullptr;
    bool ignoreMesh_ = false;
    std::vector<kr::Reference<CompactMesh>> built_;
    SequenceSums sums_;
    // Bytes of elements headers may announce beyond what the stream still holds (whole read).
    long long allowance_ = 1 << 20;
    // Bytes of elements announced by headers and not yet delivered by runs.
    long long owed_ = 0;
    void delivered(long long bytes) { owed_ = bytes < owed_ ? owed_ - bytes : 0; }
    std::vector<int> scratch_;
    Filled filled_;
  };

  // Registers the nine mesh packet types (bound to reader's handlers) with the registry, which
  // takes them, and then the half-edge mesh packet types. reader must outlive the registry's use.
  // On std::bad_alloc the types registered so far stay registered; calling again completes it.
  // Every write function below may throw std::bad_alloc from the write context: the stream is
  // then incomplete and is to be dropped; the objects written are never changed.
  static void registerTypes(ioPacketRegistry* registry, ReadInterface* reader);
  // Writes one mesh (nothing for null): positions multiplied by scale in single precision (bit
  // for bit when scale is exactly 1), computed normals never. With writeReferences the header
  // defines the mesh's reference and array packets name it.
  static void writeMesh(ioWriteContext& out, const CompactMesh* mesh, double scale,
                        bool writeReferences);
  // Sub-packets inside the caller's current packet.
  static void writeCamera(ioWriteContext& out, const Camera& camera);
  static void writeViewport(ioWriteContext& out, const Viewport& viewport);
  static void writeEyeSpaceFrustum(ioWriteContext& out, const EyeSpaceFrustum& frustum);
};

}  // namespace krGeom
