// One packet operation timed alone in a fresh process: the figure a user meets on the first call.
// The mesh it needs is made first and not timed; a read reuses the file an earlier run left in
// $TMPDIR (writing it first when there is none), so that the read's process does nothing else.
//   packet_file_cold write-mesh | read-mesh | floor-read | build-topo | write-topo | read-topo |
//   clean
// Run it in several fresh processes (e.g. a shell loop, or hyperfine for the whole process) and
// quote the minimum, median and maximum of the printed times.
#include "packet_file_data.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>

static bool exists(const std::string& path) {
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (f) std::fclose(f);
  return f != nullptr;
}

int main(int argc, char** argv) {
  const std::string op = argc > 1 ? argv[1] : "";
  const std::string meshFile = bench::tempPath("cold_mesh.krp");
  const std::string topoFile = bench::tempPath("cold_topo.krp");
  std::function<void()> run;
  kr::Reference<krGeom::TopoMesh> topo;
  if (op == "write-mesh") {
    bench::packetMesh();
    run = [&] { bench::writeMeshFile(meshFile); };
  } else if (op == "read-mesh") {
    if (!exists(meshFile)) bench::writeMeshFile(meshFile);
    run = [&] {
      ioPacketRegistry registry;
      ioReadContext in(registry);
      krGeom::packetFile::ReadInterface reader(in);
      krGeom::packetFile::registerTypes(&registry, &reader);
      if (!in.readFile(meshFile.c_str()).ok()) std::abort();
    };
  } else if (op == "floor-read") {
    // The floor of read-mesh: the file's bytes read into fresh memory and copied into fresh
    // arrays of the mesh's payload size.
    if (!exists(meshFile)) bench::writeMeshFile(meshFile);
    const krGeom::CompactMesh& m = bench::packetMesh();
    const std::size_t payload = static_cast<std::size_t>(m.getNumVertices()) * 32 +
                                static_cast<std::size_t>(m.getNumTriangles()) * 12;
    run = [&meshFile, payload] {
      std::FILE* f = std::fopen(meshFile.c_str(), "rb");
      std::fseek(f, 0, SEEK_END);
      const long size = std::ftell(f);
      std::fseek(f, 0, SEEK_SET);
      std::unique_ptr<char[]> bytes(new char[static_cast<std::size_t>(size)]);
      if (std::fread(bytes.get(), 1, static_cast<std::size_t>(size), f) !=
          static_cast<std::size_t>(size))
        std::abort();
      std::fclose(f);
      std::unique_ptr<char[]> arrays(new char[payload]);
      std::memcpy(arrays.get(), bytes.get(),
                  std::min<std::size_t>(payload, static_cast<std::size_t>(size)));
      volatile char sink = arrays[payload - 1];
      (void)sink;
    };
  } else if (op == "build-topo") {
    bench::packetTorus();
    run = [&] { topo = bench::buildTopo(); };
  } else if (op == "write-topo") {
    topo = bench::buildTopo();
    run = [&] { bench::writeTopoFile(topoFile, *topo); };
  } else if (op == "read-topo") {
    if (!exists(topoFile)) bench::writeTopoFile(topoFile, *bench::buildTopo());
    run = [&] {
      ioPacketRegistry registry;
      krGeom::TopoMesh::registerTypes(registry);
      ioReadContext in(registry);
      if (!in.readFile(topoFile.c_str()).ok()) std::abort();
      for (void* p : in.takeObjects("kr.geom.topomesh"))
        topo = kr::Reference<krGeom::TopoMesh>(static_cast<krGeom::TopoMesh*>(p));
    };
  } else if (op == "clean") {
    std::remove(meshFile.c_str());
    std::remove(topoFile.c_str());
    return 0;
  } else {
    std::fprintf(stderr,
                 "usage: packet_file_cold "
                 "write-mesh|read-mesh|floor-read|build-topo|write-topo|read-topo|clean\n");
    return 2;
  }
  const auto start = std::chrono::steady_clock::now();
  run();
  const auto stop = std::chrono::steady_clock::now();
  std::printf("%s %.1f ms\n", op.c_str(),
              std::chrono::duration<double, std::milli>(stop - start).count());
  return 0;
}
