#include "commands.h"
#include "failure.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <system_error>

namespace krgeom {
namespace {

namespace fs = std::filesystem;

// The bundled bunny: installed beside the program (../share/krgeom), else in the source tree
// the program was built from.
std::string findBunny() {
  std::error_code ec;
  const fs::path exe = fs::canonical("/proc/self/exe", ec);
  if (!ec) {
    const fs::path installed =
        exe.parent_path().parent_path() / KRGEOM_INSTALL_DATA_DIR / "bunny.obj";
    if (fs::is_regular_file(installed, ec)) return installed.string();
  }
  const fs::path source = fs::path(KRGEOM_SOURCE_DATA_DIR) / "bunny.obj";
  if (fs::is_regular_file(source, ec)) return source.string();
  throw Failure("bunny.obj", "the bundled mesh is neither installed beside krgeom nor in " +
                                 std::string(KRGEOM_SOURCE_DATA_DIR));
}

void heading(const char* command) {
  std::printf("\n$ krgeom %s\n", command);
  std::fflush(stdout);
}

}  // namespace

void runDemo(const Context& context) {
  const std::string bunny = findBunny();
  std::printf("The Stanford bunny (%s), through every krgeom command.\n", bunny.c_str());
  heading("info bunny.obj");
  runInfo({bunny}, context);
  heading("convert bunny.obj bunny.krp");
  runConvert(bunny, "bunny.krp", 1.0, context);
  heading("check bunny.krp");
  runCheck("bunny.krp", context);
  heading("info bunny.krp");
  runInfo({"bunny.krp"}, context);
  heading("octree bunny.krp --leaf 16");
  runOctree("bunny.krp", OctreeSettings{16, -1}, context);
  heading("topo bunny.krp --collapse 400");
  runTopo("bunny.krp", 400, "", context);
  heading("render bunny.krp -o bunny.png --size 800x600 --azimuth 20 --elevation 15");
  RenderSettings render;
  render.view = ViewSettings{800, 600, 20.0, 15.0, false};
  runRender("bunny.krp", "bunny.png", render, context);
  std::printf("\nWrote bunny.krp and bunny.png in the current folder.\n");
}

void addDemoCommand(CLI::App& app, const Context& context) {
  CLI::App* cmd = app.add_subcommand(
      "demo", "Runs every command on the bundled Stanford bunny; writes bunny.krp and bunny.png");
  cmd->callback([&context] { runDemo(context); });
}

}  // namespace krgeom
