// Meshes the end-to-end tests write in the formats users bring: a closed torus (genus 1) and an
// open grid (one boundary loop), as OBJ and ASCII PLY.
#pragma once

#include <array>
#include <string>
#include <vector>

namespace krgeomtest {

struct SimpleMesh {
  std::vector<std::array<float, 3>> points;
  std::vector<std::array<int, 3>> triangles;
};

// rings x segments quads, each cut in two: rings * segments vertices.
SimpleMesh makeTorus(int rings, int segments);
// (n+1)^2 vertices in the xy-plane from (0,0) to (1,1), 2 n^2 triangles.
SimpleMesh makeGrid(int n);

std::string toObj(const SimpleMesh& mesh);
std::string toAsciiPly(const SimpleMesh& mesh);

}  // namespace krgeomtest
