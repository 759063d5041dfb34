// One half-edge mesh operation timed alone in a fresh process, on the 1,000,000-triangle torus of
// the benchmarks: the figure a user meets on the first call, page faults included.
//   topo_mesh_cold build | subdivide | copy            (krGeom::TopoMesh)
//   topo_mesh_cold openmesh-build | cgal-build         (peers build only)
// Prints the timed part's thread CPU time in ms and per face. The torus (and, for subdivide and
// copy, the mesh) is made first and not timed. Run it in several fresh processes (a shell loop,
// or hyperfine for the whole process) and quote the minimum, median and maximum.
#include "topo_mesh_build.h"
#include "topo_mesh_torus.h"
#ifdef KRGEOM_TOPO_PEERS
#include "topo_mesh_peer_builds.h"
#endif

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>

int main(int argc, char** argv) {
  const char* op = argc > 1 ? argv[1] : "";
  const bench::Torus torus = bench::makeTorus(500, 1000);
  const auto faces = static_cast<double>(torus.triangles.size());
  std::function<void()> run;
  bench::Built built;
  kr::Reference<krGeom::TopoMesh> copy;
#ifdef KRGEOM_TOPO_PEERS
  bench::OBuilt openMesh;
  bench::CBuilt cgal;
#endif
  if (!std::strcmp(op, "build")) {
    run = [&] { built = bench::build(torus); };
  } else if (!std::strcmp(op, "subdivide")) {
    built = bench::build(torus);
    run = [&] {
      krGeom::TopoMeshFace f = built.mesh->firstFace();
      built.mesh->subdivideFace(f, f.centroid());
    };
  } else if (!std::strcmp(op, "copy")) {
    built = bench::build(torus);
    run = [&] { copy = new krGeom::TopoMesh(*built.mesh); };
#ifdef KRGEOM_TOPO_PEERS
  } else if (!std::strcmp(op, "openmesh-build")) {
    run = [&] { openMesh = bench::buildOpenMesh(torus, false); };
  } else if (!std::strcmp(op, "cgal-build")) {
    run = [&] { cgal = bench::buildCgal(torus); };
#endif
  } else {
    std::fprintf(stderr, "usage: topo_mesh_cold build|subdivide|copy|openmesh-build|cgal-build\n");
    return 2;
  }
  const double seconds = bench::timed(run);
  std::printf("%s: %.1f ms, %.1f ns per face\n", op, seconds * 1e3, seconds * 1e9 / faces);
  // The process ends without destroying the meshes: exit time is not the user's first call.
  std::fflush(stdout);
  std::_Exit(0);
}
