// The debug-draw hooks reach the module that exports "getMeshIFace", looked up once; without a
// module (debug_draw_absent_test) they do nothing.
#include <geom/geom.h>

#include <gtest/gtest.h>

#ifdef KRGEOM_TEST_DEBUG_DRAW_MODULE
extern "C" const int* debugDrawCounts(int* lookedUp);
#endif

namespace {

void callEveryHook() {
  kr::Reference<krGeom::CompactMesh> mesh(new krGeom::CompactMesh());
  kr::Reference<krGeom::TopoMesh> topo(new krGeom::TopoMesh());
  krDebugDraw::drawMesh(*mesh);
  krDebugDraw::drawAddMesh(*mesh);
  krDebugDraw::drawAddMeshPtr(mesh.get());
  krDebugDraw::drawAddMeshPtr(mesh.get());
  krDebugDraw::drawTopoMesh(*topo);
  krDebugDraw::drawAddTopoMesh(*topo);
  krDebugDraw::drawAddTopoMeshPtr(topo.get());
}

#ifdef KRGEOM_TEST_DEBUG_DRAW_MODULE
TEST(DebugDraw, HooksReachTheModuleLookedUpOnce) {
  callEveryHook();
  callEveryHook();
  int lookups = 0;
  const int* counts = debugDrawCounts(&lookups);
  EXPECT_EQ(lookups, 1);
  const int expected[6] = {2, 2, 4, 2, 2, 2};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(counts[i], expected[i]) << i;
}
#else
TEST(DebugDraw, WithoutAModuleHooksDoNothing) {
  EXPECT_EQ(krDebugDraw::loadIFace("getMeshIFace"), nullptr);
  callEveryHook();
}
#endif

}  // namespace
