// packetFile: the mesh packet types and the ReadInterface handlers.
#include <geom/meshes/compact_mesh.h>
#include <geom/packets/packet_file.h>
#include <geom/topology/topo_mesh.h>
#include <geom/viewing/camera.h>

#include "mesh_packets.h"

#include <algorithm>
#include <cstring>

namespace krGeom {

namespace mp = meshPackets;
using ReadInterface = packetFile::ReadInterface;

namespace {

// The packet type of every mesh packet: calls one handler of the bound ReadInterface.
class geomPacket : public ioPacketType {
 public:
  using ReadMethod = void (ReadInterface::*)();
  geomPacket(const char* name, ReadInterface* reader, ReadMethod method)
      : ioPacketType(name), readInterface_(reader), readMethod_(method) {}

  void readPacket(ioReadContext& in) override {
    if (&in != &readInterface_->getReadContext()) {
      in.fail("the mesh read interface is bound to another reader");
      return;
    }
    readInterface_->prePacketRead();
    (readInterface_->*readMethod_)();
    readInterface_->postPacketRead();
  }

 private:
  ReadInterface* readInterface_;
  ReadMethod readMethod_;
};

template <class T>
void zeroFill(T* p, long long n) {
  if (p && n > 0) std::memset(static_cast<void*>(p), 0, static_cast<std::size_t>(n) * sizeof(T));
}

}  // namespace

void packetFile::registerTypes(ioPacketRegistry* registry, ReadInterface* reader) {
  const struct {
    const char* name;
    geomPacket::ReadMethod method;
  } types[] = {
      {mp::kHeader, &ReadInterface::readMesh},
      {mp::kVertices, &ReadInterface::readMeshVertices},
      {mp::kNormals, &ReadInterface::readMeshNormals},
      {mp::kUVs, &ReadInterface::readMeshUVs},
      {mp::kSTs, &ReadInterface::readMeshSTs},
      {mp::kColours, &ReadInterface::readMeshColours},
      {mp::kTriangles, &ReadInterface::readMeshTriangles},
      {mp::kTriNormals, &ReadInterface::readMeshTriNormals},
      {mp::kSeqArray, &ReadInterface::readMeshSeqArray},
  };
  for (const auto& t : types) registry->supportedType(new geomPacket(t.name, reader, t.method));
  TopoMesh::registerTypes(*registry);
}

// --- ReadInterface ---

ReadInterface::ReadInterface(ioReadContext& in) : ioClientReadContext(in) {}

ReadInterface::ReadInterface(const ReadInterface& o)
    : ioClientReadContext(o),
      lastMesh_(o.lastMesh_),
      ignoreMesh_(o.ignoreMesh_),
      sums_(o.sums_),
      allowance_(o.allowance_),
      owed_(o.owed_),
      filled_(o.filled_) {
  if (lastMesh_) built_.emplace_back(lastMesh_);
}

ReadInterface::~ReadInterface() {
  finishMesh();
}

// The big arrays of the latest mesh, by fill slot: element values and the element count.
ReadInterface::Slot ReadInterface::slot(int which) const {
  CompactMesh& m = *lastMesh_;
  const int v = m.getNumVertices(), t = m.getNumTriangles();
  switch (which) {
    case eVertices:
      return {m.getVerticesRaw(), 3, v};
    case eNormals:
      return {m.getNormalsRaw(), 3, v};
    case eUVs:
      return {m.getUVsRaw(), 2, v};
    case eSTs:
      return {m.getSTsRaw(), 2, v};
    case eColours:
      return {m.getColoursRaw(), 4, v};
    case eTriangles:
      return {m.getTrianglesRaw(), 3, t};
    default:
      return {m.getTriangleNormalsRaw(), 3, t};
  }
}

// Runs normally arrive in order, each starting where the last ended, so nothing is written twice;
// a gap before a run is zeroed, and finishMesh zeroes what no run reached.
void ReadInterface::fillUpTo(int which, int first, int count) {
  const Slot a = slot(which);
  int& filled = filled_.elements[which];
  if (first > filled && a.values)
    std::memset(static_cast<char*>(a.values) + 4 * static_cast<std::size_t>(filled) * a.width, 0,
                4 * static_cast<std::size_t>(first - filled) * a.width);
  filled = std::max(filled, first + count);
}

void ReadInterface::finishMesh() {
  if (!lastMesh_) return;
  for (int which = 0; which < kFillSlots; ++which) {
    const Slot a = slot(which);
    fillUpTo(which, a.size, 0);
  }
}

CompactMesh* ReadInterface::getLastMesh(bool release) {
  finishMesh();
  CompactMesh* mesh = lastMesh_;
  if (release && mesh) {
    // The caller takes the interface's reference over: it may hold the mesh in a Reference or
    // delete it.
    for (auto it = built_.rbegin(); it != built_.rend(); ++it)
      if (it->get() == mesh) {
        it->release();
        built_.erase(std::next(it).base());
        break;
      }
    lastMesh_ = nullptr;
  }
  return mesh;
}

void ReadInterface::readMesh() {
  ioReadContext& in = getReadContext();
  if (ignoreMesh_) {
    in.invalidPacket();
    return;
  }
  const int numVertices = in.readInt();
  const int numTriangles = in.readInt();
  void* renderInfo = nullptr;
  int drawFlags = 0;
  bool normals = false, uvs = false, flat = false, colours = false, triNormals = false;
  bool sts = false;
  float uvRange[4] = {0, 0, 0, 0};
  int sequences[4][2] = {};  // count, points per kind
  if (in.nextChunk()) renderInfo = in.readPointer();
  if (in.nextChunk()) {
    drawFlags = in.readInt();
    normals = in.readBool();
  }
  if (in.nextChunk()) {
    uvs = in.readBool();
    if (uvs)
      for (float& f : uvRange) f = in.readFloat();
  }
  if (in.nextChunk()) flat = in.readBool();
  if (in.nextChunk()) {
    in.startSubPacket();
    colours = in.readBool();
    triNormals = in.readBool();
    for (auto& s : sequences) {
      s[0] = in.readInt();
      s[1] = in.readInt();
    }
    if (in.nextChunk()) sts = in.readBool();
    in.endSubPacket();
  }
  if (!in.packetOk()) return;
  // Every array a header sizes is filled by runs later in the stream. Bytes announced and not yet
  // delivered by runs (of every header so far) must fit in what the stream still holds, which
  // bounds what a read allocates by the stream's size. A small allowance, shared by the whole
  // read, lets short hand-made streams (a header alone) through.
  bool counts = numVertices >= 0 && numTriangles >= 0;
  const long long v = numVertices, t = numTriangles;
  long long bytes =
      v * (12 + (normals ? 12 : 0) + (uvs ? 8 : 0) + (sts ? 8 : 0) + (colours ? 16 : 0)) +
      t * (12 + (triNormals ? 12 : 0));
  for (const auto& s : sequences) {
    counts = counts && s[0] >= 0 && s[1] >= 0;
    bytes += 4LL * s[0] + 4LL * s[1];
  }
  // Triangles and sequence points index vertices: without vertices none can be valid.
  if (numVertices == 0) {
    bool indices = numTriangles > 0;
    for (const auto& s : sequences) indices = indices || s[1] > 0;
    if (indices) {
      in.fail("mesh header announces triangles or sequences but no vertices");
      return;
    }
  }
  const long long shortfall =
      owed_ + bytes -
      static_cast<long long>(std::min<std::uint64_t>(in.bytesLeftInInput(), 1ULL << 62));
  if (!counts || shortfall > allowance_) {
    in.fail("mesh header announces more elements than the stream holds");
    return;
  }
  if (shortfall > 0) allowance_ -= shortfall;
  owed_ += bytes;

  finishMesh();
  // Sized whole before it becomes the latest mesh: running out of memory part-way then leaves
  // neither a leak nor a half-sized mesh behind.
  const kr::Reference<CompactMesh> made(new CompactMesh());
  CompactMesh* mesh = made.get();
  mesh->resizeVertexArray(numVertices);
  if (numTriangles != 0) {
    mesh->resizeTriangleArray(numTriangles);
  }
  if (normals) {
    mesh->allocNormalArray();
  }
  if (uvs) {
    mesh->allocUVArray();
    mesh->setUVRange({{uvRange[0], uvRange[1]}, {uvRange[2], uvRange[3]}});
  }
  if (sts) {
    mesh->allocSTArray();
  }
  if (colours) {
    mesh->allocColourArray();
  }
  if (triNormals) {
    mesh->allocTriangleNormalArray();
  }
  MeshSequence* seqs[4] = {&mesh->getTriStrips(), &mesh->getTriFans(), &mesh->getLineStrips(),
                           &mesh->getPolys()};
  for (int k = 0; k < 4; ++k) {
    if (sequences[k][0] > 0 && sequences[k][1] > 0) {
      const int points = sequences[k][1], count = sequences[k][0];
      switch (k) {
        case mp::eTriStrips:
          mesh->resizeTriStripArrays(points, count);
          break;
        case mp::eTriFans:
          mesh->resizeTriFanArrays(points, count);
          break;
        case mp::eLineStrips:
          mesh->resizeLineStripArrays(points, count);
          break;
        default:
          mesh->resizePolyArrays(points, count);
          break;
      }
      zeroFill(seqs[k]->getPoints(), seqs[k]->getNumPoints());
      zeroFill(seqs[k]->getLengths(), seqs[k]->getNumSequences());
    }
  }
  built_.push_back(made);
  lastMesh_ = mesh;
  sums_ = SequenceSums();
  filled_ = Filled();
  if (renderInfo) mesh->setRenderInfo(renderInfo);
  mesh->setDrawFlags(drawFlags);
  mesh->setFlatShaded(flat);
  if (in.getPacketReference() != 0) in.defineReference(mesh);
}

CompactMesh* ReadInterface::meshForRun() {
  ioReadContext& in = getReadContext();
  in.readReference();  // the owner: runs always go to the latest mesh
  if (!lastMesh_) in.fail("mesh array packet without a mesh header before it");
  return lastMesh_;
}

void ReadInterface::readFloatRun(int which) {
  if (ignoreMesh_) return;
  ioReadContext& in = getReadContext();
  CompactMesh* mesh = meshForRun();
  const int first = in.readInt(), count = in.readInt();
  if (!mesh || !in.packetOk()) return;
  const Slot a = slot(which);
  const int size = a.size, width = a.width;
  float* values = static_cast<float*>(a.values);
  if (!values || first < 0 || count < 0 || count > size - first) {
    in.fail("mesh array run outside the arrays its header sized");
    return;
  }
  fillUpTo(which, first, count);
  in.readFloats(values + static_cast<std::size_t>(first) * width, count * width);
  delivered(4LL * count * width);
}

void ReadInterface::readMeshVertices() {
  readFloatRun(eVertices);
}
void ReadInterface::readMeshNormals() {
  readFloatRun(eNormals);
}
void ReadInterface::readMeshUVs() {
  readFloatRun(eUVs);
}
void ReadInterface::readMeshSTs() {
  readFloatRun(eSTs);
}
void ReadInterface::readMeshColours() {
  readFloatRun(eColours);
}
void ReadInterface::readMeshTriNormals() {
  readFloatRun(eTriNormals);
}

void ReadInterface::readMeshTriangles() {
  if (ignoreMesh_) return;
  ioReadContext& in = getReadContext();
  CompactMesh* mesh = meshForRun();
  const int first = in.readInt(), count = in.readInt();
  if (!mesh || !in.packetOk()) return;
  if (first < 0 || count < 0 || count > mesh->getNumTriangles() - first) {
    in.fail("mesh array run outside the arrays its header sized");
    return;
  }
  // Read in place and checked; a run with an index that names no vertex is zeroed again.
  fillUpTo(eTriangles, first, count);
  int* run = mesh->getTrianglesRaw() + 3 * static_cast<std::size_t>(first);
  in.readInts(run, 3 * count);
  const unsigned limit = static_cast<unsigned>(mesh->getNumVertices());
  for (int i = 0; i < 3 * count; ++i)
    if (static_cast<unsigned>(run[i]) >= limit) {
      std::memset(run, 0, 12 * static_cast<std::size_t>(count));
      in.fail("triangle index names no vertex");
      return;
    }
  if (!in.packetOk()) return;
  delivered(12LL * count);
}

void ReadInterface::readMeshSeqArray() {
  if (ignoreMesh_) return;
  ioReadContext& in = getReadContext();
  CompactMesh* mesh = meshForRun();
  const int kind = in.readInt(), arrayKind = in.readInt();
  const int first = in.readInt(), count = in.readInt();
  if (!mesh || !in.packetOk()) return;
  if (kind < 0 || kind > 3 || arrayKind < 0 || arrayKind > 1) return;  // not ours: skipped
  MeshSequence* seqs[4] = {&mesh->getTriStrips(), &mesh->getTriFans(), &mesh->getLineStrips(),
                           &mesh->getPolys()};
  MeshSequence& seq = *seqs[kind];
  int* target = arrayKind == mp::ePoints ? seq.getPoints() : seq.getLengths();
  if (!target) return;
  const int size = arrayKind == mp::ePoints ? seq.getNumPoints() : seq.getNumSequences();
  if (first < 0 || count < 0 || count > size - first) {
    in.fail("mesh array run outside the arrays its header sized");
    return;
  }
  scratch_.resize(static_cast<std::size_t>(count));
  in.readInts(scratch_.data(), count);
  if (!in.packetOk()) return;
  if (arrayKind == mp::ePoints) {
    const unsigned limit = static_cast<unsigned>(mesh->getNumVertices());
    for (int i : scratch_)
      if (static_cast<unsigned>(i) >= limit) {
        in.fail("sequence point names no vertex");
        return;
      }
  } else {
    // The lengths may never add up past the points they walk.
    long long sum = sums_.lengths[kind];
    for (int i = 0; i < count; ++i) {
      if (scratch_[i] < 0) {
        in.fail("negative sequence length");
        return;
      }
      sum += static_cast<long long>(scratch_[i]) - target[first + i];
    }
    if (sum > seq.getNumPoints()) {
      in.fail("sequence lengths add up past their points");
      return;
    }
    sums_.lengths[kind] = sum;
  }
  std::copy(scratch_.begin(), scratch_.end(), target + first);
  if (arrayKind == mp::eLengths) seq.clearCaches();
  delivered(4LL * count);
}

void ReadInterface::readViewport(Viewport& viewport) {
  ioReadContext& in = getReadContext();
  in.startSubPacket();
  double v[6];
  for (double& d : v) d = in.readDouble();
  in.endSubPacket();
  viewport.setOrigin(v[0], v[1]);
  viewport.setSize(v[2], v[3]);
  viewport.setDepthRange(v[4], v[5]);
}

void ReadInterface::readEyeSpaceFrustum(EyeSpaceFrustum& frustum) {
  ioReadContext& in = getReadContext();
  in.startSubPacket();
  krLinear::Tuple2 lowerLeft, upperRight;
  krLinear::readTuple2(in, lowerLeft);
  krLinear::readTuple2(in, upperRight);
  const double nearDist = in.readDouble();
  const double farDist = in.readDouble();
  const bool ortho = in.readBool();
  in.endSubPacket();
  frustum.setFrame(lowerLeft, upperRight);
  frustum.setDepthRange(nearDist, farDist, false);
  frustum.setOrthographic(ortho);
}

void ReadInterface::readCamera(Camera& camera) {
  ioReadContext& in = getReadContext();
  Viewport viewport;
  EyeSpaceFrustum frustum;
  krLinear::AffineMatrix worldToEye;
  in.startSubPacket();
  readViewport(viewport);
  readEyeSpaceFrustum(frustum);
  krLinear::readAffineMatrix(in, worldToEye);
  const bool open = in.readBool();
  in.endSubPacket();
  camera.setViewport(viewport);
  camera.setFrustum(frustum);
  camera.setWorldToEye(worldToEye);
  camera.setOpenFrustum(open);
}

}  // namespace krGeom
