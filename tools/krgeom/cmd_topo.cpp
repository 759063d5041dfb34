#include "collapse.h"
#include "commands.h"
#include "failure.h"
#include "mesh_files.h"
#include "progress.h"
#include "topology_report.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>

namespace krgeom {
namespace {

void requireInvariants(const krGeom::TopoMesh& mesh, const std::string& file, const char* when) {
  const krString::CString broken = mesh.findBrokenInvariant();
  if (!broken.empty())
    throw Failure(file, std::string("half-edge invariant broken ") + when + ": " + broken.c_str());
}

}  // namespace

void runTopo(const std::string& file, int collapse, const std::string& out,
             const Context& context) {
  Progress progress(!context.quiet);
  const LoadedMesh loaded = readMesh(file, progress);
  progress.step("building the half-edge mesh");
  BuiltTopoMesh built = buildTopoMesh(*loaded.mesh);
  krGeom::TopoMesh& mesh = *built.mesh;
  requireInvariants(mesh, file, "after the build");
  if (collapse < 0) collapse = loaded.mesh->getNumTriangles() / 10;

  std::printf("%s\n", file.c_str());
  std::printf("  half-edge mesh:      %d vertices, %d half-edges, %d faces", mesh.numVertices(),
              mesh.numEdges(), mesh.numFaces());
  if (built.trianglesLeftOut > 0) std::printf(" (%d triangles left out)", built.trianglesLeftOut);
  std::printf("\n");

  const TopoSnapshot original = takeSnapshot(mesh);
  std::vector<kr::Reference<krGeom::TopoMeshState>> states;
  const CollapseResult r = collapseShortestEdges(mesh, collapse, states, progress);
  requireInvariants(mesh, file, "after collapsing");
  const TopoSnapshot simplified = takeSnapshot(mesh);
  std::printf(
      "  collapsed:           %d edges, shortest first, in %.3f s (%d refused as "
      "unsafe); %d states saved\n",
      r.collapsed, r.seconds, r.refused, r.statesSaved);
  std::printf("  now:                 %d vertices, %d half-edges, %d faces\n", mesh.numVertices(),
              mesh.numEdges(), mesh.numFaces());

  progress.step("restoring the saved states");
  // Back to the start, then forward to the end again: each time the records, their order, links
  // and points must be exactly those saved.
  const auto restore = [&](const kr::Reference<krGeom::TopoMeshState>& state,
                           const TopoSnapshot& expected, const char* label, const char* what) {
    mesh.setState(state);
    requireInvariants(mesh, file, (std::string("after restoring the ") + what).c_str());
    if (!(takeSnapshot(mesh) == expected))
      throw Failure(file, std::string("setState did not bring the ") + what + " back exactly");
    std::printf("  %-20s %d vertices, %d faces, identical to the %s\n", label, mesh.numVertices(),
                mesh.numFaces(), what);
  };
  restore(states.front(), original, "setState(original):", "original mesh");
  restore(states.back(), simplified, "setState(last):", "simplified mesh");

  if (!out.empty()) {
    writeMesh(*toCompactMesh(mesh), out, 1.0, progress);
    std::printf("  wrote:               %s\n", out.c_str());
  }
  progress.finish();
}

void addTopoCommand(CLI::App& app, const Context& context) {
  struct Options {
    std::string file, out;
    int collapse = -1;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand(
      "topo",
      "Builds the half-edge mesh, collapses its shortest edges while saving states, shows that "
      "setState restores the original exactly and writes the simplified mesh");
  cmd->add_option("file", o->file, "Mesh file")->required();
  cmd->add_option("--collapse", o->collapse,
                  "Edges to collapse (default: a tenth of the triangles)");
  cmd->add_option("-o,--output", o->out, "Where to write the simplified mesh");
  cmd->callback([o, &context] { runTopo(o->file, o->collapse, o->out, context); });
}

}  // namespace krgeom
