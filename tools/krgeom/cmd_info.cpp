#include "commands.h"
#include "mesh_files.h"
#include "progress.h"
#include "topology_report.h"

#include <geom/spatial/bounding_box.h>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>

namespace krgeom {
namespace {

std::string attributeList(const krGeom::CompactMesh& mesh) {
  std::string out = "positions";
  if (mesh.getNormals()) out += mesh.getNormalsComputed() ? ", normals (computed)" : ", normals";
  if (mesh.getUVs()) out += ", uvs";
  if (mesh.getSTs()) out += ", sts";
  if (mesh.getColours()) out += ", colours";
  if (mesh.getTriangleNormals()) out += ", triangle normals";
  return out;
}

void printBoundaries(const krGeom::MeshBoundaries& b) {
  std::printf("  boundary loops:      %d", b.size());
  if (b.size() > 0) {
    std::printf(" (lengths");
    const int shown = b.size() < 8 ? b.size() : 8;
    for (int i = 0; i < shown; ++i) std::printf(" %d", b.getLength(i));
    std::printf("%s)", shown < b.size() ? " ..." : "");
  }
  std::printf("\n");
}

void printInfo(const std::string& file, Progress& progress) {
  const LoadedMesh loaded = readMesh(file, progress);
  const krGeom::CompactMesh& mesh = *loaded.mesh;
  krGeom::BoundingBox box;
  mesh.getBoundingBox(box);
  progress.step("building the half-edge mesh of " + file);
  const BuiltTopoMesh topo = buildTopoMesh(mesh);
  const TopologyReport r = reportTopology(mesh, topo);
  progress.finish();

  std::printf("%s\n", file.c_str());
  std::printf("  vertices:            %d\n", mesh.getNumVertices());
  std::printf("  triangles:           %d\n", mesh.getNumTriangles());
  std::printf("  attributes:          %s\n", attributeList(mesh).c_str());
  const krLinear::PointFlt lo = box.minPt(), hi = box.maxPt();
  std::printf("  bounding box:        (%g, %g, %g) to (%g, %g, %g)\n", lo.x(), lo.y(), lo.z(),
              hi.x(), hi.y(), hi.z());
  std::printf("  bytes used:          %d\n", mesh.getSizeInBytes());
  std::printf("  half-edge mesh:      %d vertices, %d half-edges, %d faces",
              topo.mesh->numVertices(), topo.mesh->numEdges(), topo.mesh->numFaces());
  if (topo.trianglesLeftOut > 0) std::printf(" (%d triangles left out)", topo.trianglesLeftOut);
  std::printf("\n");
  std::printf("  edges:               %lld\n", r.edges);
  printBoundaries(*r.boundaries);
  std::printf("  non-manifold edges:  %lld\n", r.nonManifoldEdges);
  if (r.misorientedEdges > 0) std::printf("  misoriented edges:   %lld\n", r.misorientedEdges);
  if (r.isolatedVertices > 0) std::printf("  isolated vertices:   %d\n", r.isolatedVertices);
  std::printf("  components:          %d\n", r.components);
  std::printf("  Euler characteristic: %lld\n", r.eulerCharacteristic);
  if (r.genus >= 0)
    std::printf("  genus:               %d\n", r.genus);
  else
    std::printf("  genus:               undefined (not an oriented manifold)\n");
  if (loaded.packetFile) {
    std::printf("  packets:\n");
    for (const auto& [name, count] : loaded.packets)
      std::printf("    %-22s %llu\n", name.c_str(), static_cast<unsigned long long>(count));
  }
}

}  // namespace

void runInfo(const std::vector<std::string>& files, const Context& context) {
  Progress progress(!context.quiet);
  for (const std::string& file : files) printInfo(file, progress);
}

void addInfoCommand(CLI::App& app, const Context& context) {
  auto files = std::make_shared<std::vector<std::string>>();
  CLI::App* cmd = app.add_subcommand(
      "info", "Counts, attributes, bounding box, memory and topology of mesh files");
  cmd->add_option("files", *files, "Mesh files (any format assimp reads, or .krp)")->required();
  cmd->callback([files, &context] { runInfo(*files, context); });
}

}  // namespace krgeom
