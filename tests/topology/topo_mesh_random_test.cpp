// Randomized edits of a closed triangulated torus: thousands of valid edits, each followed by the
// invariant checker and the closed-torus counts; and saved-state sessions that make, drop and
// jump between states, where every jump must reproduce the dump taken when the state was made.
#include "topo_fixtures.h"
#include "topo_mesh_dump.h"
#include "topo_random_edits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace {

using namespace krGeom;
using namespace topofix;
using krLinear::Point;
using StateRef = kr::Reference<TopoMeshState>;

TEST(TopoMeshRandomTest, ThousandsOfValidEditsKeepTheInvariants) {
  const std::uint32_t rngSeed = 20240611u;
  std::printf("rngSeed = %u\n", rngSeed);
  RandomEdits edits(rngSeed);
  buildTorus(edits.mesh, 6, 8);
  ASSERT_TRUE(edits.closedTorus());
  int applied = 0, done[RandomEdits::kKinds] = {};
  for (int attempt = 0; attempt < 20000 && applied < 2000; ++attempt) {
    const int kind = static_cast<int>(edits.rng() % RandomEdits::kKinds);
    if (!edits.step(kind)) continue;
    ++done[kind];
    ++applied;
    ASSERT_TRUE(edits.closedTorus()) << "after edit " << applied << " of kind " << kind;
  }
  EXPECT_EQ(applied, 2000);
  for (int kind = 0; kind < RandomEdits::kKinds; ++kind) EXPECT_GT(done[kind], 50) << kind;
}

using Saved = std::pair<StateRef, topodump::MeshDump>;  // a state and its dump when made

// Random edits and point moves, states made and dropped, and jumps across the branches of the
// state tree. Every pool record must stay live, a saved copy or held for a state.
void runSession(std::uint32_t rngSeed, int steps) {
  std::printf("rngSeed = %u\n", rngSeed);
  SCOPED_TRACE(testing::Message() << "rngSeed " << rngSeed);
  std::vector<Saved> saved;  // outlives the mesh: held states are detached when it goes
  RandomEdits edits(rngSeed);
  auto& [mesh, rng] = edits;
  buildTorus(mesh, 6, 8);
  for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInMesh()) tag(e, int(rng() % 1000));
  mesh.enableTransactions();
  saved.push_back({mesh.createState(), topodump::dump(mesh)});
  int jumps = 0, merges = 0;
  for (int step = 0; step < steps; ++step) {
    SCOPED_TRACE(testing::Message() << "step " << step);
    const std::uint32_t r = rng() % 100;
    if (r < 45) {
      for (std::uint32_t n = 1 + rng() % 4; n > 0; --n) {
        if (rng() % 4 == 0)
          mesh.setPoint(mesh.firstVertex(), Point(step % 7, r, n));
        else
          edits.step(static_cast<int>(rng() % RandomEdits::kKinds));
      }
    } else if (r < 65) {
      StateRef s = mesh.createState();
      if (std::none_of(saved.begin(), saved.end(), [&](const Saved& k) { return k.first == s; }))
        saved.push_back({s, topodump::dump(mesh)});
    } else if (r < 87) {
      const Saved& target = saved[rng() % saved.size()];
      mesh.setState(target.first);
      ++jumps;
      ASSERT_EQ(topodump::difference(topodump::dump(mesh), target.second), "");
      ASSERT_TRUE(edits.closedTorus());
    } else if (saved.size() > 1) {
      const std::int64_t before = mesh.getImpl()->log()->usage().states;
      saved.erase(saved.begin() + rng() % saved.size());
      merges += mesh.getImpl()->log()->usage().states < before;
    }
    while (saved.size() > 12) saved.erase(saved.begin());
    ASSERT_EQ(topodump::unaccounted(mesh), 0);
  }
  for (const Saved& s : saved) {  // every surviving state is still reachable and exact
    mesh.setState(s.first);
    ASSERT_EQ(topodump::difference(topodump::dump(mesh), s.second), "");
  }
  EXPECT_GT(jumps, steps / 10);
  EXPECT_GT(merges, steps / 50);
}

TEST(TopoMeshStateRandomTest, JumpsAcrossTheStateTreeRestoreExactly) {
  for (std::uint32_t rngSeed : {1u, 20240611u, 987654321u}) runSession(rngSeed, 2000);
}

// The edits the random sessions do not reach, each undone and redone on a small mesh.
TEST(TopoMeshStateRandomTest, LessCommonEditsAreUndoneExactly) {
  using Edit = void (*)(TopoMesh&, Strip2&);
  const Edit editsToUndo[] = {
      [](TopoMesh& m, Strip2& s) { m.splitVertex(s.a, edge(s.a, s.c)); },
      [](TopoMesh& m, Strip2& s) { m.splitEdge(edge(s.a, s.c)); },
      [](TopoMesh& m, Strip2& s) { m.contractEdge(edge(s.c, s.d)); },
      [](TopoMesh& m, Strip2& s) { m.collapseEdge(edge(s.a, s.c)); },
      [](TopoMesh& m, Strip2& s) { m.deleteVertex(s.b); },
      [](TopoMesh& m, Strip2& s) { m.deleteFace(s.first); },
      [](TopoMesh& m, Strip2& s) {
        m.subdivideFace(s.first, s.a, s.b, {{0.3, 0, 0}, {0.6, 0, 0}});
      },
      [](TopoMesh& m, Strip2& s) { m.splitFace(s.first.firstEdge(), s.first.firstEdge().prev()); },
      [](TopoMesh& m, Strip2& s) {
        m.deleteValenceTwoVertex(m.subdivideEdge(edge(s.a, s.c), {0.5, 0.5, 0}));
      },
      [](TopoMesh& m, Strip2& s) {
        m.allocQuad(s.b, s.a, m.allocVertex({0, -1, 0}), m.allocVertex({1, -1, 0}));
        m.setPoint(s.d, {5, 5, 5});
      },
      [](TopoMesh& m, Strip2& s) {
        TopoMeshEdge e = edge(s.a, s.c), t = e.twin();
        m.splitEdge(e);
        m.mergeVertices(e, t);
      },
  };
  for (int i = 0; i < int(std::size(editsToUndo)); ++i) {
    SCOPED_TRACE(i);
    TopoMesh mesh;
    mesh.enableTransactions();
    Strip2 s = buildStrip2(mesh);
    tag(edge(s.a, s.c), 5);
    StateRef before = mesh.createState();
    const topodump::MeshDump was = topodump::dump(mesh);
    editsToUndo[i](mesh, s);
    EXPECT_MESH_VALID(mesh);
    StateRef after = mesh.createState();
    const topodump::MeshDump is = topodump::dump(mesh);
    EXPECT_NE(topodump::difference(is, was), "");
    for (const auto& [state, expected] : {std::pair(before, was), std::pair(after, is)}) {
      mesh.setState(state);
      EXPECT_EQ(topodump::difference(topodump::dump(mesh), expected), "");
    }
    EXPECT_EQ(topodump::unaccounted(mesh), 0);
  }
}

}  // namespace
