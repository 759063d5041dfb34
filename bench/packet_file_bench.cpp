// Mesh and half-edge mesh packets through a file, beside their floors: a 1-million-triangle mesh
// (positions, normals, UVs) against writing and reading the same bytes with write()/read() and
// memcpy, and a half-edge mesh of 1 million faces read back against building it face by face.
// Prints the ratios (goals: mesh write and read within 1.5x of the floor; half-edge read within
// 1.5x of the build). Files go to $TMPDIR (default /tmp). Each file write ends with fsync, in
// the library and in the floor alike.
#include <geom/geom.h>

#include <benchmark/benchmark.h>

#include "packet_file_data.h"
#include "ratio_reporter.h"

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using bench::buildTopo;
using bench::writeMeshFile;
using krGeom::CompactMesh;
using krGeom::TopoMesh;

std::string tempPath(const char* name) {
  return bench::tempPath(name);
}
const CompactMesh& mesh() {
  return bench::packetMesh();
}

// The payload bytes of the mesh: what the floor copies.
std::size_t meshBytes() {
  const CompactMesh& m = mesh();
  return static_cast<std::size_t>(m.getNumVertices()) * (12 + 12 + 8) +
         static_cast<std::size_t>(m.getNumTriangles()) * 12;
}

void BM_MeshWrite(benchmark::State& state) {
  const std::string path = tempPath("mesh.krp");
  for (auto _ : state) writeMeshFile(path);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * meshBytes()));
}
BENCHMARK(BM_MeshWrite)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_MeshRead(benchmark::State& state) {
  const std::string path = tempPath("mesh.krp");
  writeMeshFile(path);
  for (auto _ : state) {
    ioPacketRegistry registry;
    ioReadContext in(registry);
    krGeom::packetFile::ReadInterface reader(in);
    krGeom::packetFile::registerTypes(&registry, &reader);
    if (!in.readFile(path.c_str()).ok()) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(reader.getLastMesh(false));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * meshBytes()));
}
BENCHMARK(BM_MeshRead)->Unit(benchmark::kMillisecond)->UseRealTime();

// The floor of writing: the arrays copied into one buffer, written and synced.
void BM_FloorWrite(benchmark::State& state) {
  const std::string path = tempPath("floor.bin");
  const CompactMesh& m = mesh();
  const std::size_t v = static_cast<std::size_t>(m.getNumVertices());
  const std::size_t t = static_cast<std::size_t>(m.getNumTriangles());
  for (auto _ : state) {
    std::vector<char> buffer(meshBytes());
    char* p = buffer.data();
    for (auto [src, bytes] : {std::pair<const void*, std::size_t>{m.getVerticesRaw(), 12 * v},
                              {m.getNormalsRaw(), 12 * v},
                              {m.getUVsRaw(), 8 * v},
                              {m.getTrianglesRaw(), 12 * t}}) {
      std::memcpy(p, src, bytes);
      p += bytes;
    }
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (::write(fd, buffer.data(), buffer.size()) != static_cast<ssize_t>(buffer.size()))
      state.SkipWithError("write failed");
    ::fsync(fd);
    ::close(fd);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * meshBytes()));
}
BENCHMARK(BM_FloorWrite)->Unit(benchmark::kMillisecond)->UseRealTime();

// The floor of reading: the file read into memory and its bytes copied into fresh arrays.
void BM_FloorRead(benchmark::State& state) {
  const std::string path = tempPath("mesh.krp");
  writeMeshFile(path);
  for (auto _ : state) {
    const int fd = ::open(path.c_str(), O_RDONLY);
    const off_t size = ::lseek(fd, 0, SEEK_END);
    std::vector<char> file(static_cast<std::size_t>(size));
    if (::pread(fd, file.data(), file.size(), 0) != size) state.SkipWithError("read failed");
    ::close(fd);
    std::vector<char> arrays(meshBytes());
    std::memcpy(arrays.data(), file.data(), std::min(arrays.size(), file.size()));
    benchmark::DoNotOptimize(arrays.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * meshBytes()));
}
BENCHMARK(BM_FloorRead)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_TopoMeshBuild(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(buildTopo().get());
}
BENCHMARK(BM_TopoMeshBuild)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_TopoMeshWrite(benchmark::State& state) {
  const kr::Reference<TopoMesh> m = buildTopo();
  for (auto _ : state) bench::writeTopoFile(tempPath("topo.krp"), *m);
}
BENCHMARK(BM_TopoMeshWrite)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_TopoMeshRead(benchmark::State& state) {
  const std::string path = tempPath("topo.krp");
  bench::writeTopoFile(path, *buildTopo());
  for (auto _ : state) {
    ioPacketRegistry registry;
    TopoMesh::registerTypes(registry);
    ioReadContext in(registry);
    if (!in.readFile(path.c_str()).ok()) state.SkipWithError("read failed");
    for (void* p : in.takeObjects("kr.geom.topomesh"))
      kr::Reference<TopoMesh> held(static_cast<TopoMesh*>(p));
  }
}
BENCHMARK(BM_TopoMeshRead)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
#if defined(__GLIBC__)
  // Warm figures: blocks up to 32 MB come from the heap and stay there, for the library and the
  // floors alike. Left to itself, malloc's adaptive thresholds hand one side reused pages and the
  // other fresh ones depending on what else ran. Fresh-process figures: packet_file_cold.
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
#endif
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  std::printf("torus 500 x 1000: %zu vertices, %zu triangles; mesh payload %.1f MB\n",
              bench::packetTorus().points.size(), bench::packetTorus().triangles.size(),
              meshBytes() / 1e6);
  krbench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  const auto ratio = [&](const char* what, const char* a, const char* b, const char* goal) {
    const double ta = reporter.time(a), tb = reporter.time(b);
    if (ta > 0 && tb > 0) std::printf("%s = %.2f (goal %s)\n", what, ta / tb, goal);
  };
  ratio("mesh write / floor", "BM_MeshWrite", "BM_FloorWrite", "<= 1.5");
  ratio("mesh read / floor", "BM_MeshRead", "BM_FloorRead", "<= 1.5");
  ratio("half-edge read / build", "BM_TopoMeshRead", "BM_TopoMeshBuild", "<= 1.5");
  // With the peers built in (-DKRGEOM_BENCH_PEERS=ON).
  ratio("OpenMesh PLY write / mesh write", "BM_OpenMeshWritePLY", "BM_MeshWrite", ">= 5");
  ratio("OpenMesh PLY read / mesh read", "BM_OpenMeshReadPLY", "BM_MeshRead", ">= 5");
  ratio("OpenMesh OM write / mesh write", "BM_OpenMeshWriteOM", "BM_MeshWrite", ">= 5");
  ratio("OpenMesh OM read / mesh read", "BM_OpenMeshReadOM", "BM_MeshRead", ">= 5");
  ratio("assimp PLY import / mesh read", "BM_AssimpImportPLY", "BM_MeshRead", ">= 10");
  for (const char* name : {"mesh.krp", "floor.bin", "topo.krp"})
    std::remove(tempPath(name).c_str());
  return 0;
}
