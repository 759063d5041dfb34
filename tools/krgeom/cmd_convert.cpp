#include "commands.h"
#include "failure.h"
#include "mesh_files.h"
#include "progress.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>
#include <memory>

namespace krgeom {

void runConvert(const std::string& in, const std::string& out, double scale,
                const Context& context) {
  Progress progress(!context.quiet);
  const auto start = std::chrono::steady_clock::now();
  const LoadedMesh loaded = readMesh(in, progress);
  const double readSeconds = secondsSince(start);
  writeMesh(*loaded.mesh, out, scale, progress);
  progress.finish();
  std::printf("%s -> %s: %d vertices, %d triangles (read %.3f s, write %.3f s)\n", in.c_str(),
              out.c_str(), loaded.mesh->getNumVertices(), loaded.mesh->getNumTriangles(),
              readSeconds, secondsSince(start) - readSeconds);
}

void addConvertCommand(CLI::App& app, const Context& context) {
  struct Options {
    std::string in, out;
    double scale = 1.0;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand(
      "convert", "Converts between mesh formats: any format assimp reads or writes, and .krp");
  cmd->add_option("in", o->in, "Mesh file to read")->required();
  cmd->add_option("out", o->out, "File to write; the extension picks the format")->required();
  cmd->add_option("--scale", o->scale, "Multiplies every position by this factor")
      ->capture_default_str();
  cmd->callback([o, &context] { runConvert(o->in, o->out, o->scale, context); });
}

}  // namespace krgeom
