// The krgeom commands: each adds itself to the command line, and its run function is what the
// demo command calls too. Run functions print to stdout and throw Failure.
#pragma once

#include "camera_fit.h"

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace krgeom {

// Settings every command shares.
struct Context {
  bool quiet = false;
};

void runInfo(const std::vector<std::string>& files, const Context& context);
void runConvert(const std::string& in, const std::string& out, double scale,
                const Context& context);
// Prints "ok" when the packet reader accepts the file, else throws its reason.
void runCheck(const std::string& file, const Context& context);

struct OctreeSettings {
  int leafSize = 32;
  int depth = -1;  // deepest level of the per-level table; -1: all
};
void runOctree(const std::string& file, const OctreeSettings& settings, const Context& context);

struct RenderSettings {
  ViewSettings view;
  bool octree = false;
  int leafSize = 32;
};
void runRender(const std::string& file, const std::string& out, const RenderSettings& settings,
               const Context& context);

// collapse < 0: a tenth of the triangles. out may be empty (nothing written).
void runTopo(const std::string& file, int collapse, const std::string& out, const Context& context);

// Every command on the bundled bunny; writes bunny.krp and bunny.png into the current folder.
void runDemo(const Context& context);

void addInfoCommand(CLI::App& app, const Context& context);
void addConvertCommand(CLI::App& app, const Context& context);
void addCheckCommand(CLI::App& app, const Context& context);
void addOctreeCommand(CLI::App& app, const Context& context);
void addRenderCommand(CLI::App& app, const Context& context);
void addTopoCommand(CLI::App& app, const Context& context);
void addDemoCommand(CLI::App& app, const Context& context);

}  // namespace krgeom
