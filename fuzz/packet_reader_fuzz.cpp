// Fuzz target: the packet reader with the mesh and half-edge mesh packet types registered. Whatever
// the input, the read must return a status without crashing, and what it hands out must be
// consistent: half-edge meshes pass their checker, triangle and sequence indices name vertices.
//
// Before reading, the target rewrites the checksum of every packet whose framing it can follow,
// so that mutated values reach the packet types instead of stopping at the checksum test; the
// library is fuzzed as it is built for users, and a saved input replays the same way anywhere.
#include <geom/geom.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

std::uint32_t crc32c(const std::uint8_t* p, std::size_t n) {
  std::uint32_t crc = 0xFFFFFFFFu;
  for (std::size_t i = 0; i < n; ++i) {
    crc ^= p[i];
    for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0x82F63B78u & (0u - (crc & 1u)));
  }
  return ~crc;
}

template <class T>
T load(const std::uint8_t* p) {
  T v = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) v |= static_cast<T>(p[i]) << (8 * i);
  return v;
}

// Walks the packet framing (see docs/packet-format.md) and stores a correct CRC-32C after every
// packet that fits in the input.
void fixChecksums(std::vector<std::uint8_t>& s) {
  std::size_t pos = 12;  // magic and version
  while (pos < s.size()) {
    const std::size_t nameLength = s[pos];
    const std::size_t header = 1 + nameLength + 4 + 8;
    if (s.size() - pos < header) return;
    const std::uint64_t body = load<std::uint64_t>(&s[pos + 1 + nameLength + 4]);
    if (body > s.size() - pos - header || s.size() - pos - header - body < 4) return;
    const std::size_t end = pos + header + static_cast<std::size_t>(body);
    const std::uint32_t crc = crc32c(&s[pos], end - pos);
    for (int i = 0; i < 4; ++i) s[end + i] = static_cast<std::uint8_t>(crc >> (8 * i));
    pos = end + 4;
  }
}

// Indices name vertices and sequence lengths stay within their points.
void checkMesh(const krGeom::CompactMesh& mesh) {
  const unsigned n = static_cast<unsigned>(mesh.getNumVertices());
  const int* t = mesh.getTrianglesRaw();
  for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i)
    if (static_cast<unsigned>(t[i]) >= n) std::abort();
  const krGeom::MeshSequence* seqs[4] = {&mesh.getTriStrips(), &mesh.getTriFans(),
                                         &mesh.getLineStrips(), &mesh.getPolys()};
  for (const krGeom::MeshSequence* s : seqs) {
    long long sum = 0;
    for (int i = 0; i < s->getNumSequences(); ++i) sum += s->getLengths()[i];
    for (int i = 0; i < s->getNumPoints(); ++i)
      if (static_cast<unsigned>(s->getPoints()[i]) >= n) std::abort();
    if (sum > s->getNumPoints()) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> input(data, data + size);
  fixChecksums(input);
  ioPacketRegistry registry;
  ioReadContext in(registry);
  krGeom::packetFile::ReadInterface reader(in);
  krGeom::packetFile::registerTypes(&registry, &reader);
  const ioStatus status = in.readBuffer(input.data(), input.size());
  if (!status.ok() && std::strlen(status.message()) == 0) std::abort();
  for (void* p : in.takeObjects("kr.geom.topomesh")) {
    kr::Reference<krGeom::TopoMesh> mesh(static_cast<krGeom::TopoMesh*>(p));
    if (!mesh->findBrokenInvariant().empty()) std::abort();
  }
  std::vector<kr::Reference<krGeom::CompactMesh>> meshes;
  for (void* p : in.takeObjects("kr.st.mesh"))
    meshes.emplace_back(static_cast<krGeom::CompactMesh*>(p));
  if (krGeom::CompactMesh* last = reader.getLastMesh(false)) meshes.emplace_back(last);
  for (const auto& mesh : meshes) checkMesh(*mesh);
  return 0;
}
