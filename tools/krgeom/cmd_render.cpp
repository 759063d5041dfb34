#include "commands.h"
#include "failure.h"
#include "mesh_files.h"
#include "progress.h"
#include "rasterizer.h"

#include <geom/spatial/octree.h>

#include <CLI/CLI.hpp>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>

namespace krgeom {
namespace {

// "WxH" with both sides from 1 to 16384.
bool parseSize(const std::string& text, ViewSettings& view) {
  int w = 0, h = 0;
  char extra = 0;
  if (std::sscanf(text.c_str(), "%dx%d%c", &w, &h, &extra) != 2) return false;
  if (w < 1 || h < 1 || w > 16384 || h > 16384) return false;
  view.width = w;
  view.height = h;
  return true;
}

}  // namespace

void runRender(const std::string& file, const std::string& out, const RenderSettings& settings,
               const Context& context) {
  if (extensionOf(out) != "png") throw Failure(out, "the picture is written as PNG (.png)");
  Progress progress(!context.quiet);
  const LoadedMesh loaded = readMesh(file, progress);
  const krGeom::CompactMesh& mesh = *loaded.mesh;
  krGeom::BoundingBox box;
  mesh.getBoundingBox(box);
  if (!std::isfinite(box.diagonalLength()))
    throw Failure(file, "the mesh is too large to view (its box's diagonal overflows)");
  krGeom::Camera camera;
  fitCamera(box, settings.view, camera);

  progress.step("rendering " + std::to_string(mesh.getNumTriangles()) + " triangles");
  const auto start = std::chrono::steady_clock::now();
  Image image = renderMesh(mesh, camera, settings.view.width, settings.view.height);
  const double seconds = secondsSince(start);
  if (settings.octree) {
    kr::Reference<krGeom::Octree> octree(new krGeom::Octree(
        mesh.getNumVertices(), mesh.getVerticesRaw(), box, false, settings.leafSize));
    drawOctreeLeaves(*octree, camera, image);
  }
  writePng(image, out);
  progress.finish();
  const double millions = mesh.getNumTriangles() / 1e6;
  std::printf("%s -> %s: %d triangles at %dx%d in %.3f s (%.3f s per million triangles)\n",
              file.c_str(), out.c_str(), mesh.getNumTriangles(), settings.view.width,
              settings.view.height, seconds, seconds / millions);
}

void addRenderCommand(CLI::App& app, const Context& context) {
  struct Options {
    std::string file, out, size = "800x600";
    RenderSettings settings;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand(
      "render", "Draws a mesh through a Camera fitted to its bounding box and writes a PNG");
  cmd->add_option("file", o->file, "Mesh file")->required();
  cmd->add_option("-o,--output", o->out, "PNG file to write")->required();
  cmd->add_option("--size", o->size, "Picture size WxH")->capture_default_str();
  cmd->add_option("--azimuth", o->settings.view.azimuthDegrees,
                  "Degrees about the y axis, 0 looking from +z")
      ->capture_default_str();
  cmd->add_option("--elevation", o->settings.view.elevationDegrees, "Degrees above the xz-plane")
      ->capture_default_str();
  cmd->add_flag("--ortho", o->settings.view.orthographic, "Orthographic instead of perspective");
  cmd->add_flag("--octree", o->settings.octree, "Draws the octree's non-empty leaf boxes");
  cmd->add_option("--leaf", o->settings.leafSize, "Points per octree leaf")->capture_default_str();
  cmd->callback([o, &context] {
    if (!parseSize(o->size, o->settings.view))
      throw Failure("", "--size wants WxH, each from 1 to 16384, not '" + o->size + "'");
    if (o->settings.leafSize < 1) throw Failure("", "--leaf must be at least 1");
    runRender(o->file, o->out, o->settings, context);
  });
}

}  // namespace krgeom
