// A debug-drawing module for the hook tests: exports "getMeshIFace" and counts what it receives.
#include <geom/debug_draw.h>

namespace {

int counts[6] = {0, 0, 0, 0, 0, 0};

struct CountingIFace final : krDebugDraw::MeshIFace {
  void drawMesh(const krGeom::CompactMesh&) override { ++counts[0]; }
  void addMesh(const krGeom::CompactMesh&) override { ++counts[1]; }
  void addMeshPtr(const krGeom::CompactMesh*) override { ++counts[2]; }
  void drawTopoMesh(const krGeom::TopoMesh&) override { ++counts[3]; }
  void addTopoMesh(const krGeom::TopoMesh&) override { ++counts[4]; }
  void addTopoMeshPtr(const krGeom::TopoMesh*) override { ++counts[5]; }
};

int lookups = 0;

}  // namespace

extern "C" __attribute__((visibility("default"))) void* getMeshIFace() {
  static CountingIFace iface;
  ++lookups;
  return static_cast<krDebugDraw::MeshIFace*>(&iface);
}

// What the module received, by hook, and how often it was looked up.
extern "C" __attribute__((visibility("default"))) const int* debugDrawCounts(int* lookedUp) {
  *lookedUp = lookups;
  return counts;
}
