// The mesh of packet_file_bench.cpp (1 million triangles with positions, normals and UVs) written
// and read by OpenMesh as binary PLY and as its own .om format, and imported from that PLY file by
// assimp. Built only with -DKRGEOM_BENCH_PEERS=ON; packet_file_bench.cpp prints the ratios.
#include <geom/geom.h>

#include "packet_file_data.h"

#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <OpenMesh/Core/IO/MeshIO.hh>
#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>
#include <assimp/Importer.hpp>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

using OMesh = OpenMesh::TriMesh_ArrayKernelT<>;

OpenMesh::IO::Options options() {
  OpenMesh::IO::Options o = OpenMesh::IO::Options::Binary;
  o += OpenMesh::IO::Options::VertexNormal;
  o += OpenMesh::IO::Options::VertexTexCoord;
  return o;
}

void prepare(OMesh& m) {
  m.request_vertex_normals();
  m.request_vertex_texcoords2D();
}

// The benchmark mesh as an OpenMesh TriMesh (built once).
const OMesh& openMesh() {
  static const OMesh m = [] {
    OMesh o;
    prepare(o);
    const krGeom::CompactMesh& c = bench::packetMesh();
    std::vector<OMesh::VertexHandle> v;
    v.reserve(static_cast<std::size_t>(c.getNumVertices()));
    for (int i = 0; i < c.getNumVertices(); ++i) {
      const float* p = c.getVerticesRaw() + 3 * i;
      const float* n = c.getNormalsRaw() + 3 * i;
      const float* t = c.getUVsRaw() + 2 * i;
      v.push_back(o.add_vertex(OMesh::Point(p[0], p[1], p[2])));
      o.set_normal(v.back(), OMesh::Normal(n[0], n[1], n[2]));
      o.set_texcoord2D(v.back(), OMesh::TexCoord2D(t[0], t[1]));
    }
    for (int f = 0; f < c.getNumTriangles(); ++f) {
      const int* t = c.getTrianglesRaw() + 3 * f;
      o.add_face(v[t[0]], v[t[1]], v[t[2]]);
    }
    return o;
  }();
  return m;
}

void write(const char* name, benchmark::State& state) {
  const OMesh& m = openMesh();
  const std::string path = bench::tempPath(name);
  for (auto _ : state)
    if (!OpenMesh::IO::write_mesh(m, path, options())) state.SkipWithError("write failed");
}

void read(const char* name, benchmark::State& state) {
  const std::string path = bench::tempPath(name);
  OpenMesh::IO::write_mesh(openMesh(), path, options());
  for (auto _ : state) {
    OMesh m;
    prepare(m);
    OpenMesh::IO::Options o = options();
    if (!OpenMesh::IO::read_mesh(m, path, o)) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(m.n_faces());
  }
}

void BM_OpenMeshWritePLY(benchmark::State& state) {
  write("peer.ply", state);
}
BENCHMARK(BM_OpenMeshWritePLY)->Unit(benchmark::kMillisecond)->UseRealTime();
void BM_OpenMeshReadPLY(benchmark::State& state) {
  read("peer.ply", state);
}
BENCHMARK(BM_OpenMeshReadPLY)->Unit(benchmark::kMillisecond)->UseRealTime();
void BM_OpenMeshWriteOM(benchmark::State& state) {
  write("peer.om", state);
}
BENCHMARK(BM_OpenMeshWriteOM)->Unit(benchmark::kMillisecond)->UseRealTime();
void BM_OpenMeshReadOM(benchmark::State& state) {
  read("peer.om", state);
}
BENCHMARK(BM_OpenMeshReadOM)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_AssimpImportPLY(benchmark::State& state) {
  const std::string path = bench::tempPath("peer.ply");
  OpenMesh::IO::write_mesh(openMesh(), path, options());
  for (auto _ : state) {
    Assimp::Importer importer;
    const aiScene* scene = importer.ReadFile(path, 0);
    if (!scene || scene->mNumMeshes != 1)
      state.SkipWithError("import failed");
    else
      benchmark::DoNotOptimize(scene->mMeshes[0]->mNumFaces);
  }
}
BENCHMARK(BM_AssimpImportPLY)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
