// krgeom: reads the mesh files people have, shows what krGeom makes of them, converts them to
// and from packet files and renders them through the library's Camera.
#include "commands.h"
#include "failure.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <new>

int main(int argc, char** argv) {
  CLI::App app("krgeom " KRGEOM_VERSION
               ": meshes, spatial indexes, half-edge topology and packet files with krGeom");
  app.require_subcommand(1, 1);
  app.fallthrough();  // --quiet may also follow the command
  app.set_version_flag("--version", KRGEOM_VERSION);
  krgeom::Context context;
  app.add_flag("-q,--quiet", context.quiet, "No progress line on stderr");
  krgeom::addInfoCommand(app, context);
  krgeom::addConvertCommand(app, context);
  krgeom::addCheckCommand(app, context);
  krgeom::addOctreeCommand(app, context);
  krgeom::addRenderCommand(app, context);
  krgeom::addTopoCommand(app, context);
  krgeom::addDemoCommand(app, context);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // --help and --version end here with 0; usage errors exit with 2, failures with 1.
    return app.exit(e) == 0 ? 0 : 2;
  } catch (const krgeom::Failure& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "krgeom: %s\n", e.what());
    return 1;
  } catch (const std::bad_alloc&) {
    std::fflush(stdout);
    std::fprintf(stderr, "krgeom: out of memory\n");
    return 1;
  }
  return 0;
}
