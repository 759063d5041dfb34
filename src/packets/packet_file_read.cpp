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
    : ioClientReadContext(o), lastMesh_(o.lastMesh_), ignoreMesh_(o.ignoreMesh_), sums_(o.sums_) {
  if (lastMesh_) built_.emplace_back(lastMesh_);
}

ReadInterface::~ReadInterface() = default;

CompactMesh* ReadInterface::getLastMesh(bool release) {
  CompactMesh* mesh = lastMesh_;
  if (release) lastMesh_ = nullptr;
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
  // The elements announced must still be in the stream, which bounds what a header allocates by
  // the stream's size. A small allowance, shared by the whole read, lets short hand-made streams
  // (a header alone) through.
  bool counts = numVertices >= 0 && numTriangles >= 0;
  long long bytes = 12LL * numVertices + 12LL * numTriangles;
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
  const long long shortfall = bytes - static_cast<long long>(in.bytesLeftInInput());
  if (!counts || shortfall > allowance_) {
    in.fail("mesh header announces more elements than the stream holds");
    return;
  }
  if (shortfall > 0) allowance_ -= shortfall;

  CompactMesh* mesh = new CompactMesh();
  built_.emplace_back(mesh);
  lastMesh_ = mesh;
  sums_ = SequenceSums();
  mesh->resizeVertexArray(numVertices);
  zeroFill(mesh->getVerticesRaw(), 3LL * numVertices);
  if (numTriangles != 0) {
    mesh->resizeTriangleArray(numTriangles);
    zeroFill(mesh->getTrianglesRaw(), 3LL * numTriangles);
  }
  if (normals) {
    mesh->allocNormalArray();
    zeroFill(mesh->getNormalsRaw(), 3LL * numVertices);
  }
  if (uvs) {
    mesh->allocUVArray();
    zeroFill(mesh->getUVsRaw(), 2LL * numVertices);
    mesh->setUVRange({{uvRange[0], uvRange[1]}, {uvRange[2], uvRange[3]}});
  }
  if (sts) {
    mesh->allocSTArray();
    zeroFill(mesh->getSTsRaw(), 2LL * numVertices);
  }
  if (colours) {
    mesh->allocColourArray();
    zeroFill(mesh->getColoursRaw(), 4LL * numVertices);
  }
  if (triNormals) {
    mesh->allocTriangleNormalArray();
    zeroFill(mesh->getTriangleNormalsRaw(), 3LL * numTriangles);
  }
  void (CompactMesh::*resize[4])(int, int) = {
      &CompactMesh::resizeTriStripArrays, &CompactMesh::resizeTriFanArrays,
      &CompactMesh::resizeLineStripArrays, &CompactMesh::resizePolyArrays};
  MeshSequence* seqs[4] = {&mesh->getTriStrips(), &mesh->getTriFans(), &mesh->getLineStrips(),
                           &mesh->getPolys()};
  for (int k = 0; k < 4; ++k) {
    if (sequences[k][0] > 0 && sequences[k][1] > 0) {
      (mesh->*resize[k])(sequences[k][1], sequences[k][0]);
      zeroFill(seqs[k]->getPoints(), seqs[k]->getNumPoints());
      zeroFill(seqs[k]->getLengths(), seqs[k]->getNumSequences());
    }
  }
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

void ReadInterface::readFloatRun(float* (*array)(CompactMesh&), int width, bool perTriangle) {
  if (ignoreMesh_) return;
  ioReadContext& in = getReadContext();
  CompactMesh* mesh = meshForRun();
  const int first = in.readInt(), count = in.readInt();
  if (!mesh || !in.packetOk()) return;
  const int size = perTriangle ? mesh->getNumTriangles() : mesh->getNumVertices();
  float* values = array(*mesh);
  if (!values || first < 0 || count < 0 || count > size - first) {
    in.fail("mesh array run outside the arrays its header sized");
    return;
  }
  in.readFloats(values + static_cast<std::size_t>(first) * width, count * width);
}

void ReadInterface::readMeshVertices() {
  readFloatRun([](CompactMesh& m) { return m.getVerticesRaw(); }, 3);
}
void ReadInterface::readMeshNormals() {
  readFloatRun([](CompactMesh& m) { return m.getNormalsRaw(); }, 3);
}
void ReadInterface::readMeshUVs() {
  readFloatRun([](CompactMesh& m) { return m.getUVsRaw(); }, 2);
}
void ReadInterface::readMeshSTs() {
  readFloatRun([](CompactMesh& m) { return m.getSTsRaw(); }, 2);
}
void ReadInterface::readMeshColours() {
  readFloatRun([](CompactMesh& m) { return m.getColoursRaw(); }, 4);
}
void ReadInterface::readMeshTriNormals() {
  readFloatRun([](CompactMesh& m) { return m.getTriangleNormalsRaw(); }, 3, true);
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
  // Indices are checked in a scratch run before they reach the mesh.
  scratch_.resize(3 * static_cast<std::size_t>(count));
  in.readInts(scratch_.data(), 3 * count);
  const unsigned limit = static_cast<unsigned>(mesh->getNumVertices());
  for (int i : scratch_)
    if (static_cast<unsigned>(i) >= limit) {
      in.fail("triangle index names no vertex");
      return;
    }
  if (!in.packetOk()) return;
  std::copy(scratch_.begin(), scratch_.end(),
            mesh->getTrianglesRaw() + 3 * static_cast<std::size_t>(first));
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
