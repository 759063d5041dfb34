// packetFile: writing meshes, cameras, viewports and eye-space frustums.
#include <geom/meshes/compact_mesh.h>
#include <geom/packets/packet_file.h>
#include <geom/viewing/camera.h>

#include "mesh_packets.h"

#include <algorithm>
#include <vector>

namespace krGeom {

namespace mp = meshPackets;

namespace {

// Writes the owner field of an array packet.
void writeOwner(ioWriteContext& out, const CompactMesh* mesh, bool references) {
  if (references)
    out.writePointer(mesh, 0);
  else
    out.writeReference(0, 0);
}

// Runs of at most kRun elements of `width` values each: one packet (name, owner, first, count,
// values) per run.
template <class T, class WriteValues>
void writeRuns(ioWriteContext& out, const char* name, const CompactMesh* mesh, bool references,
               int count, WriteValues writeValues) {
  for (int first = 0; first < count; first += mp::kRun) {
    const int n = std::min(mp::kRun, count - first);
    out.startPacket(name, nullptr);
    writeOwner(out, mesh, references);
    out.writeInt(first);
    out.writeInt(n);
    writeValues(first, n);
    out.endPacket();
  }
}

void writeFloatRuns(ioWriteContext& out, const char* name, const CompactMesh* mesh, bool references,
                    int count, const float* values, int width) {
  writeRuns<float>(out, name, mesh, references, count, [&](int first, int n) {
    out.writeFloats(values + static_cast<std::size_t>(first) * width, n * width);
  });
}

void writeSequence(ioWriteContext& out, const CompactMesh* mesh, bool references, int kind,
                   int numSequences, int numPoints, const int* points, const int* lengths) {
  if (numSequences == 0) return;
  const int sizes[2] = {numPoints, numSequences};
  const int* arrays[2] = {points, lengths};
  for (int arrayKind : {mp::ePoints, mp::eLengths}) {
    const int count = sizes[arrayKind];
    for (int first = 0; first < count; first += mp::kRun) {
      const int n = std::min(mp::kRun, count - first);
      out.startPacket(mp::kSeqArray, nullptr);
      writeOwner(out, mesh, references);
      out.writeInt(kind);
      out.writeInt(arrayKind);
      out.writeInt(first);
      out.writeInt(n);
      out.writeInts(arrays[arrayKind] + first, n);
      out.endPacket();
    }
  }
}

void writeHeader(ioWriteContext& out, const CompactMesh& mesh, bool references, bool normals,
                 bool triNormals) {
  out.startPacket(mp::kHeader, references ? &mesh : nullptr);
  out.writeInt(mesh.getNumVertices());
  out.writeInt(mesh.getNumTriangles());
  out.startChunk();
  out.writePointer(mesh.getRenderInfo(), 0);
  out.startChunk();
  out.writeInt(mesh.getDrawFlags());
  out.writeBool(normals);
  out.startChunk();
  const bool uvs = mesh.getUVs() != nullptr;
  out.writeBool(uvs);
  if (uvs) {
    const krLinear::Range2d r = mesh.getUVRange();
    for (double v : {r.lower().x(), r.lower().y(), r.upper().x(), r.upper().y()})
      out.writeFloat(static_cast<float>(v));
  }
  out.startChunk();
  out.writeBool(mesh.getFlatShaded());
  out.startChunk();
  out.startSubPacket();
  out.writeBool(mesh.getColours() != nullptr);
  out.writeBool(triNormals);
  out.writeInt(mesh.getNumTriStrips());
  out.writeInt(mesh.getNumTriStripPoints());
  out.writeInt(mesh.getNumTriFans());
  out.writeInt(mesh.getNumTriFanPoints());
  out.writeInt(mesh.getNumLineStrips());
  out.writeInt(mesh.getNumLineStripPoints());
  out.writeInt(mesh.getNumPolys());
  out.writeInt(mesh.getNumPolyPoints());
  out.startChunk();
  out.writeBool(mesh.getSTs() != nullptr);
  out.endSubPacket();
  out.endPacket();
}

}  // namespace

void packetFile::writeMesh(ioWriteContext& out, const CompactMesh* mesh, double scale,
                           bool writeReferences) {
  if (!mesh) return;
  const int v = mesh->getNumVertices(), t = mesh->getNumTriangles();
  const bool normals = mesh->getNormals() != nullptr && !mesh->getNormalsComputed();
  const bool triNormals = mesh->getTriangleNormals() != nullptr && !mesh->getTriNormalsComputed();
  writeHeader(out, *mesh, writeReferences, normals, triNormals);

  if (v > 0) {
    const float* xyz = mesh->getVerticesRaw();
    if (scale == 1.0) {
      writeFloatRuns(out, mp::kVertices, mesh, writeReferences, v, xyz, 3);
    } else {
      const float s = static_cast<float>(scale);
      std::vector<float> scaled(3 * static_cast<std::size_t>(std::min(v, mp::kRun)));
      writeRuns<float>(out, mp::kVertices, mesh, writeReferences, v, [&](int first, int n) {
        const float* src = xyz + 3 * static_cast<std::size_t>(first);
        for (int i = 0; i < 3 * n; ++i) scaled[i] = src[i] * s;
        out.writeFloats(scaled.data(), 3 * n);
      });
    }
  }
  if (t > 0)
    writeRuns<int>(out, mp::kTriangles, mesh, writeReferences, t, [&](int first, int n) {
      out.writeInts(mesh->getTrianglesRaw() + 3 * static_cast<std::size_t>(first), 3 * n);
    });
  if (v > 0) {
    if (normals)
      writeFloatRuns(out, mp::kNormals, mesh, writeReferences, v, mesh->getNormalsRaw(), 3);
    if (mesh->getUVs())
      writeFloatRuns(out, mp::kUVs, mesh, writeReferences, v, mesh->getUVsRaw(), 2);
    if (mesh->getSTs())
      writeFloatRuns(out, mp::kSTs, mesh, writeReferences, v, mesh->getSTsRaw(), 2);
    if (mesh->getColours())
      writeFloatRuns(out, mp::kColours, mesh, writeReferences, v, mesh->getColoursRaw(), 4);
  }
  if (triNormals && t > 0)
    writeFloatRuns(out, mp::kTriNormals, mesh, writeReferences, t, mesh->getTriangleNormalsRaw(),
                   3);
  writeSequence(out, mesh, writeReferences, mp::eTriStrips, mesh->getNumTriStrips(),
                mesh->getNumTriStripPoints(), mesh->getTriStripPoints(),
                mesh->getTriStripLengths());
  writeSequence(out, mesh, writeReferences, mp::eTriFans, mesh->getNumTriFans(),
                mesh->getNumTriFanPoints(), mesh->getTriFanPoints(), mesh->getTriFanLengths());
  writeSequence(out, mesh, writeReferences, mp::eLineStrips, mesh->getNumLineStrips(),
                mesh->getNumLineStripPoints(), mesh->getLineStripPoints(),
                mesh->getLineStripLengths());
  writeSequence(out, mesh, writeReferences, mp::ePolys, mesh->getNumPolys(),
                mesh->getNumPolyPoints(), mesh->getPolyPoints(), mesh->getPolyLengths());
}

void packetFile::writeViewport(ioWriteContext& out, const Viewport& viewport) {
  double x, y, w, h, n, f;
  viewport.getOrigin(x, y);
  viewport.getSize(w, h);
  viewport.getDepthRange(n, f);
  out.startSubPacket();
  for (double value : {x, y, w, h, n, f}) out.writeDouble(value);
  out.endSubPacket();
}

void packetFile::writeEyeSpaceFrustum(ioWriteContext& out, const EyeSpaceFrustum& frustum) {
  krLinear::Tuple2 lowerLeft, upperRight;
  frustum.getFrame(lowerLeft, upperRight);
  out.startSubPacket();
  krLinear::writeTuple2(out, lowerLeft);
  krLinear::writeTuple2(out, upperRight);
  out.writeDouble(frustum.getNearDist());
  out.writeDouble(frustum.getFarDist());
  out.writeBool(frustum.getOrthographic());
  out.endSubPacket();
}

void packetFile::writeCamera(ioWriteContext& out, const Camera& camera) {
  Viewport viewport;
  EyeSpaceFrustum frustum;
  krLinear::AffineMatrix worldToEye;
  camera.getViewport(viewport);
  camera.getFrustum(frustum);
  camera.getWorldToEye(worldToEye);
  out.startSubPacket();
  writeViewport(out, viewport);
  writeEyeSpaceFrustum(out, frustum);
  krLinear::writeAffineMatrix(out, worldToEye);
  out.writeBool(camera.getOpenFrustum());
  out.endSubPacket();
}

}  // namespace krGeom
