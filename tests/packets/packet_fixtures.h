// Streams written and read back through the library's packet types.
#pragma once

#include <geom/geom.h>

#include <cstdint>
#include <memory>
#include <vector>

// A registry with every library packet type bound to one ReadInterface, over one read context.
struct PacketReader {
  ioPacketRegistry registry;
  ioReadContext in{registry};
  krGeom::packetFile::ReadInterface reader{in};
  PacketReader() { krGeom::packetFile::registerTypes(&registry, &reader); }
  ioStatus read(const std::vector<std::uint8_t>& bytes) {
    return in.readBuffer(bytes.data(), bytes.size());
  }
  // The half-edge meshes the read handed out, held.
  std::vector<kr::Reference<krGeom::TopoMesh>> topoMeshes() {
    std::vector<kr::Reference<krGeom::TopoMesh>> out;
    for (void* p : in.takeObjects("kr.geom.topomesh"))
      out.emplace_back(static_cast<krGeom::TopoMesh*>(p));
    return out;
  }
};

// Runs `body` on a memory write context and returns the closed stream.
template <class Body>
std::vector<std::uint8_t> writeStream(Body body) {
  ioWriteContext out;
  body(out);
  out.close();
  return out.buffer();
}
