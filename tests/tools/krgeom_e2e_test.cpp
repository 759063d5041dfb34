// End-to-end tests of the installed krgeom: round trips through packet files, the topology it
// reports, the picture it renders (decoded and checked against the camera) and every kind of
// bad input.
#include "camera_fit.h"
#include "mesh_files.h"
#include "progress.h"
#include "test_meshes.h"
#include "tool_runner.h"

#include <gtest/gtest.h>
#include <stb_image.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace krgeomtest {
namespace {

// Reads a mesh file back with assimp, outside the tool.
kr::Reference<krGeom::CompactMesh> load(const std::string& path) {
  krgeom::Progress quiet(false);
  return krgeom::readMesh(path, quiet).mesh;
}

// Every triangle of `got` has the corners of the same triangle of `want`, in order.
void expectSameMesh(const SimpleMesh& want, const krGeom::CompactMesh& got) {
  ASSERT_EQ(got.getNumVertices(), int(want.points.size()));
  ASSERT_EQ(got.getNumTriangles(), int(want.triangles.size()));
  for (std::size_t t = 0; t < want.triangles.size(); ++t)
    for (int k = 0; k < 3; ++k) {
      const auto& p = want.points[want.triangles[t][k]];
      const krGeom::MeshVertex& q = got.getVertices()[got.getTriangles()[t][k]];
      ASSERT_NEAR(q.x, p[0], 1e-6f) << "triangle " << t << " corner " << k;
      ASSERT_NEAR(q.y, p[1], 1e-6f);
      ASSERT_NEAR(q.z, p[2], 1e-6f);
    }
}

// The value printed after "key:" on a line of the tool's output.
std::string field(const std::string& out, const std::string& key) {
  const std::size_t at = out.find("  " + key + ":");
  if (at == std::string::npos) return "(no " + key + ")";
  std::size_t start = out.find_first_not_of(' ', at + key.size() + 3);
  return out.substr(start, out.find('\n', start) - start);
}

TEST(KrgeomRoundTrip, ObjAndPlyThroughPacketFilesKeepEveryVertexAndTriangle) {
  ScratchDir dir;
  const SimpleMesh torus = makeTorus(24, 12), grid = makeGrid(9);
  writeFile(dir / "torus.obj", toObj(torus));
  writeFile(dir / "grid.ply", toAsciiPly(grid));

  for (const auto& [input, mesh, output] :
       {std::tuple{"torus.obj", &torus, "back.obj"}, std::tuple{"grid.ply", &grid, "back.ply"}}) {
    SCOPED_TRACE(input);
    RunResult r = runTool({"convert", input, "mid.krp"}, dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    r = runTool({"check", "mid.krp"}, dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("mid.krp: ok"), std::string::npos) << r.out;
    r = runTool({"convert", "mid.krp", output}, dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    expectSameMesh(*mesh, *load(dir / "mid.krp"));
    expectSameMesh(*mesh, *load(dir / output));
  }
  // STL stores corners: they join into the torus's vertices again.
  ASSERT_EQ(runTool({"convert", "torus.obj", "torus.stl"}, dir.path()).status, 0);
  EXPECT_EQ(load(dir / "torus.stl")->getNumVertices(), int(torus.points.size()));
  // --scale multiplies positions on the way out.
  ASSERT_EQ(runTool({"convert", "grid.ply", "big.ply", "--scale", "2"}, dir.path()).status, 0);
  EXPECT_FLOAT_EQ(load(dir / "big.ply")->getVertices()[grid.points.size() - 1].x, 2.0f);
}

TEST(KrgeomInfo, CountsAndGenusOfTheBunnyATorusAndAnOpenGrid) {
  ScratchDir dir;
  writeFile(dir / "torus.obj", toObj(makeTorus(30, 16)));
  writeFile(dir / "grid.ply", toAsciiPly(makeGrid(7)));
  const RunResult r =
      runTool({"info", std::string(KRGEOM_TEST_DATA_DIR) + "/bunny.obj", "torus.obj", "grid.ply"},
              dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  // Each file's report runs up to the next file's.
  const std::size_t torusAt = r.out.find("torus.obj\n"), gridAt = r.out.find("grid.ply\n");
  ASSERT_NE(torusAt, std::string::npos);
  ASSERT_NE(gridAt, std::string::npos);
  const std::string bunny = r.out.substr(0, torusAt),
                    torus = r.out.substr(torusAt, gridAt - torusAt), grid = r.out.substr(gridAt);

  const struct {
    const std::string& report;
    const char* key;
    const char* value;
  } expected[] = {
      {bunny, "vertices", "1839"},
      {bunny, "triangles", "3674"},
      {bunny, "boundary loops", "0"},
      {bunny, "genus", "0"},
      {torus, "vertices", "480"},
      {torus, "triangles", "960"},
      {torus, "Euler characteristic", "0"},
      {torus, "genus", "1"},
      {grid, "vertices", "64"},
      {grid, "triangles", "98"},
      {grid, "boundary loops", "1 (lengths 28)"},
      {grid, "genus", "0"},
  };
  for (const auto& e : expected) EXPECT_EQ(field(e.report, e.key), e.value) << e.key;
}

struct Picture {
  int width = 0, height = 0;
  std::unique_ptr<unsigned char, void (*)(void*)> rgb{nullptr, stbi_image_free};
  bool background(int i, int j) const {
    const unsigned char* p = rgb.get() + (std::size_t(j) * width + i) * 3;
    return p[0] == 245 && p[1] == 245 && p[2] == 245;
  }
};

Picture decode(const std::string& path) {
  Picture p;
  int channels = 0;
  p.rgb.reset(stbi_load(path.c_str(), &p.width, &p.height, &channels, 3));
  return p;
}

TEST(KrgeomRender, CoveredPixelsSpanTheProjectedMeshAndNothingElseIsTouched) {
  ScratchDir dir;
  const SimpleMesh torus = makeTorus(40, 20);
  writeFile(dir / "torus.obj", toObj(torus));
  float lo[3] = {1e30f, 1e30f, 1e30f}, hi[3] = {-1e30f, -1e30f, -1e30f};
  for (const auto& p : torus.points)
    for (int k = 0; k < 3; ++k) lo[k] = std::min(lo[k], p[k]), hi[k] = std::max(hi[k], p[k]);

  for (bool ortho : {false, true}) {
    SCOPED_TRACE(ortho ? "orthographic" : "perspective");
    std::vector<std::string> args = {"render",  "torus.obj", "-o", "torus.png",   "--size",
                                     "320x200", "--azimuth", "35", "--elevation", "40"};
    if (ortho) args.push_back("--ortho");
    const RunResult r = runTool(args, dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("per million triangles"), std::string::npos);

    krgeom::ViewSettings view{320, 200, 35.0, 40.0, ortho};
    krGeom::Camera camera;
    krgeom::fitCamera(krGeom::BoundingBox(lo, hi), view, camera);
    double minX = 1e30, maxX = -1e30, minRow = 1e30, maxRow = -1e30;
    for (const auto& p : torus.points) {
      krLinear::Point w;
      ASSERT_TRUE(camera.project(krLinear::Point(p[0], p[1], p[2]), w));
      minX = std::min(minX, w.x()), maxX = std::max(maxX, w.x());
      minRow = std::min(minRow, 200 - w.y()), maxRow = std::max(maxRow, 200 - w.y());
    }

    const Picture picture = decode(dir / "torus.png");
    ASSERT_TRUE(picture.rgb) << stbi_failure_reason();
    ASSERT_EQ(picture.width, 320);
    ASSERT_EQ(picture.height, 200);
    int coveredMinX = 1 << 30, coveredMaxX = -1, coveredMinY = 1 << 30, coveredMaxY = -1;
    for (int j = 0; j < 200; ++j)
      for (int i = 0; i < 320; ++i) {
        if (picture.background(i, j)) continue;
        coveredMinX = std::min(coveredMinX, i), coveredMaxX = std::max(coveredMaxX, i);
        coveredMinY = std::min(coveredMinY, j), coveredMaxY = std::max(coveredMaxY, j);
      }
    // Pixel i covers [i, i+1): the covered span matches the projected box within two pixels,
    // which also means nothing outside that box was drawn.
    EXPECT_NEAR(coveredMinX, minX, 2.0);
    EXPECT_NEAR(coveredMaxX + 1, maxX, 2.0);
    EXPECT_NEAR(coveredMinY, minRow, 2.0);
    EXPECT_NEAR(coveredMaxY + 1, maxRow, 2.0);
  }

  // The octree overlay draws over the picture.
  ASSERT_EQ(
      runTool({"render", "torus.obj", "-o", "plain.png", "--size", "320x200"}, dir.path()).status,
      0);
  ASSERT_EQ(runTool({"render", "torus.obj", "-o", "boxes.png", "--size", "320x200", "--octree"},
                    dir.path())
                .status,
            0);
  EXPECT_NE(readFile(dir / "plain.png"), readFile(dir / "boxes.png"));
}

TEST(KrgeomTopo, CollapsesRestoresTheOriginalExactlyAndWritesTheSimplifiedMesh) {
  ScratchDir dir;
  writeFile(dir / "torus.obj", toObj(makeTorus(30, 16)));
  const RunResult r =
      runTool({"topo", "torus.obj", "--collapse", "100", "-o", "small.ply"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("collapsed:           100 edges"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("identical to the original mesh"), std::string::npos) << r.out;
  EXPECT_EQ(load(dir / "small.ply")->getNumTriangles(), 960 - 2 * 100);
  // The simplified torus is still a torus.
  const RunResult info = runTool({"info", "small.ply"}, dir.path());
  EXPECT_EQ(field(info.out, "genus"), "1") << info.out;
}

TEST(KrgeomDemo, WritesThePictureAndThePacketFileIntoTheCurrentFolder) {
  ScratchDir dir;
  const RunResult r = runTool({"demo"}, dir.path());
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(dir.files(), (std::vector<std::string>{"bunny.krp", "bunny.png"}));
  EXPECT_TRUE(decode(dir / "bunny.png").rgb);
}

struct BadInput {
  const char* name;
  std::vector<std::string> args;
  const char* file;    // the file the message names
  const char* reason;  // part of the message
  const char* output;  // must not appear (nor a temporary file)
};

TEST(KrgeomBadInput, EachFailureIsOneLineNamingFileAndReasonWithStatusOneAndNoOutput) {
  ScratchDir dir;
  writeFile(dir / "empty.obj", "");
  writeFile(dir / "garbage.ply", std::string(3000, '\x7f') + "not a mesh");
  writeFile(dir / "mesh.xyz9", "v 0 0 0\n");
  writeFile(dir / "range.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n");
  writeFile(dir / "range.ply",
            toAsciiPly(SimpleMesh{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 7}}}));
  writeFile(dir / "torus.obj", toObj(makeTorus(12, 8)));
  ASSERT_EQ(runTool({"convert", "torus.obj", "whole.krp"}, dir.path()).status, 0);
  const std::string whole = readFile(dir / "whole.krp");
  writeFile(dir / "cut.krp", whole.substr(0, whole.size() / 2));
  const std::vector<std::string> inputs = dir.files();

  const BadInput cases[] = {
      {"missing file",
       {"convert", "missing.obj", "out.krp"},
       "missing.obj",
       "No such file",
       "out.krp"},
      {"empty file", {"convert", "empty.obj", "out.krp"}, "empty.obj", "empty", "out.krp"},
      {"garbage", {"convert", "garbage.ply", "out.krp"}, "garbage.ply", "", "out.krp"},
      {"unsupported input", {"info", "mesh.xyz9"}, "mesh.xyz9", "unsupported file extension", ""},
      {"unsupported output",
       {"convert", "torus.obj", "out.xyz9"},
       "out.xyz9",
       "cannot write",
       "out.xyz9"},
      {"truncated packet file", {"check", "cut.krp"}, "cut.krp", "exceeds the input", ""},
      {"truncated packet file, converted",
       {"convert", "cut.krp", "out.obj"},
       "cut.krp",
       "",
       "out.obj"},
      {"truncated packet file, rendered",
       {"render", "cut.krp", "-o", "out.png"},
       "cut.krp",
       "",
       "out.png"},
      {"index out of range, OBJ",
       {"convert", "range.obj", "out.krp"},
       "range.obj",
       "range",
       "out.krp"},
      {"index out of range, PLY", {"convert", "range.ply", "out.obj"}, "range.ply", "", "out.obj"},
      {"not a packet file", {"check", "torus.obj"}, "torus.obj", "not a packet file", ""},
  };
  for (const BadInput& c : cases) {
    SCOPED_TRACE(c.name);
    const RunResult r = runTool(c.args, dir.path());
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_EQ(r.err.rfind(std::string("krgeom: ") + c.file + ": ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find(c.reason), std::string::npos) << r.err;
    EXPECT_EQ(dir.files(), inputs) << "an output or temporary file was left behind";
  }
}

}  // namespace
}  // namespace krgeomtest
