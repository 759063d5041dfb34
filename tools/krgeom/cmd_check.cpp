#include "commands.h"
#include "failure.h"
#include "mesh_files.h"
#include "progress.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>

namespace krgeom {

void runCheck(const std::string& file, const Context& context) {
  if (!isPacketFilePath(file)) throw Failure(file, "not a packet file (.krp)");
  Progress progress(!context.quiet);
  const LoadedMesh loaded = readMesh(file, progress);
  progress.finish();
  unsigned long long packets = 0;
  for (const auto& entry : loaded.packets) packets += entry.second;
  std::printf("%s: ok, %llu packets, a mesh of %d vertices and %d triangles\n", file.c_str(),
              packets, loaded.mesh->getNumVertices(), loaded.mesh->getNumTriangles());
}

void addCheckCommand(CLI::App& app, const Context& context) {
  auto file = std::make_shared<std::string>();
  CLI::App* cmd = app.add_subcommand(
      "check",
      "Reads a packet file: prints 'ok' and exits with 0, or prints the reader's reason and "
      "exits with 1");
  cmd->add_option("file", *file, "Packet file (.krp)")->required();
  cmd->callback([file, &context] { runCheck(*file, context); });
}

}  // namespace krgeom
