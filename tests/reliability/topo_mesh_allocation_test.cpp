// Allocation failures in TopoMesh: every editing operation, with and without a transaction log,
// saved states, whole-mesh copies and creation. Every edit gives the strong guarantee: when an
// allocation fails the mesh (records, links, lists, pending log entries) is exactly as before,
// its saved states still restore, no pool record is lost, and the edit then succeeds.
#include "allocation_sweep.h"
#include "topo_fixtures.h"
#include "topo_mesh_dump.h"
#include "topo_random_edits.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace krGeom;
using namespace topofix;
using failalloc::Outcome;
using failalloc::runFailing;
using failalloc::sweep;
using krLinear::Point;
using StateRef = kr::Reference<TopoMeshState>;

struct Handles {
  std::vector<TopoMeshVertex> v;
  std::vector<TopoMeshEdge> e;
  std::vector<TopoMeshFace> f;
};

// The strip a, b, c, d with two isolated vertices x (2, 0, 0) and y (2, 1, 0).
Handles strip(TopoMesh& m) {
  const Strip2 s = buildStrip2(m);
  return {{s.a, s.b, s.c, s.d, m.allocVertex({2, 0, 0}), m.allocVertex({2, 1, 0})},
          {edge(s.a, s.c)},
          {s.first, s.second}};
}
// The octahedron: top, bottom, equator e0..e3; its eight faces.
Handles octahedron(TopoMesh& m) {
  const Octahedron o = buildOctahedron(m);
  return {{o.top, o.bottom, o.e[0], o.e[1], o.e[2], o.e[3]},
          {},
          {std::begin(o.faces), std::end(o.faces)}};
}
// A 2 x 2 quad grid: its nine vertices (row by row) and four faces.
Handles grid(TopoMesh& m) {
  const QuadGrid g = buildQuadGrid(m, 2, 2);
  return {g.vertices, {}, g.faces};
}

struct EditCase {
  const char* name;
  Handles (*setup)(TopoMesh&);
  void (*edit)(TopoMesh&, const Handles&);
};

const EditCase kEdits[] = {
    {"allocVertex", strip,
     [](TopoMesh& m, const Handles&) {
       m.allocVertex({5, 5, 5});
     }},
    {"allocTriangle", strip,
     [](TopoMesh& m, const Handles& h) { m.allocTriangle(h.v[1], h.v[4], h.v[2]); }},
    {"allocQuad", strip,
     [](TopoMesh& m, const Handles& h) { m.allocQuad(h.v[1], h.v[4], h.v[5], h.v[2]); }},
    {"allocFace", strip,
     [](TopoMesh& m, const Handles& h) {
       m.allocFace({h.v[1], h.v[4], h.v[5], h.v[2]});
     }},
    {"deleteFace", octahedron, [](TopoMesh& m, const Handles& h) { m.deleteFace(h.f[0]); }},
    {"deleteEdge", octahedron,
     [](TopoMesh& m, const Handles& h) { m.deleteEdge(edge(h.v[0], h.v[2])); }},
    {"deleteVertex (valence 1)", strip,
     [](TopoMesh& m, const Handles& h) { m.deleteVertex(h.v[1]); }},
    {"deleteVertex (valence 3)",
     [](TopoMesh& m) {
       Handles h = octahedron(m);
       h.v.push_back(m.subdivideFace(h.f[0], h.f[0].centroid()));
       return h;
     },
     [](TopoMesh& m, const Handles& h) { m.deleteVertex(h.v[6]); }},
    {"deleteValenceTwoVertex",
     [](TopoMesh& m) {
       Handles h = octahedron(m);
       h.v.push_back(m.subdivideEdge(edge(h.v[0], h.v[2]), {0.5, 0, 0.5}));
       return h;
     },
     [](TopoMesh& m, const Handles& h) { m.deleteValenceTwoVertex(h.v[6]); }},
    {"contractEdge", strip,
     [](TopoMesh& m, const Handles& h) { m.contractEdge(edge(h.v[0], h.v[1])); }},
    {"collapseEdge", octahedron,
     [](TopoMesh& m, const Handles& h) { m.collapseEdge(edge(h.v[0], h.v[2])); }},
    {"subdivideEdge", octahedron,
     [](TopoMesh& m, const Handles& h) {
       m.subdivideEdge(edge(h.v[0], h.v[2]), {0.5, 0, 0.5});
     }},
    {"subdivideFace (fan)", octahedron,
     [](TopoMesh& m, const Handles& h) {
       m.subdivideFace(h.f[0], {0.3, 0.3, 0.3});
     }},
    {"subdivideFace (cut)", grid,
     [](TopoMesh& m, const Handles& h) { m.subdivideFace(h.f[0], h.v[0], h.v[4]); }},
    {"subdivideFace (chain)", grid,
     [](TopoMesh& m, const Handles& h) {
       m.subdivideFace(h.f[0], h.v[0], h.v[4], {{0.3, 0.3, 0}, {0.6, 0.6, 0}});
     }},
    {"subdivideFace (chain off a side)", grid,
     [](TopoMesh& m, const Handles& h) {
       m.subdivideFace(h.f[0], h.v[0], h.v[1], {{0.3, 0.2, 0}, {0.6, 0.2, 0}});
     }},
    {"subdivideFace (corner)", grid,
     [](TopoMesh& m, const Handles& h) {
       m.subdivideFace(h.f[0], h.f[0].firstEdge(), {0.5, 0.2, 0});
     }},
    {"splitVertex (vertex, edge)", strip,
     [](TopoMesh& m, const Handles& h) { m.splitVertex(h.v[0], h.e[0]); }},
    {"splitVertex (edge, edge)", grid,
     [](TopoMesh& m, const Handles& h) {
       m.splitVertex(edge(h.v[3], h.v[4]), edge(h.v[4], h.v[5]));
     }},
    {"splitEdge", strip, [](TopoMesh& m, const Handles& h) { m.splitEdge(h.e[0]); }},
    {"splitFace", grid,
     [](TopoMesh& m, const Handles& h) {
       m.splitFace(h.f[0].firstEdge(), h.f[0].firstEdge().next().next());
     }},
    {"mergeVertices",
     [](TopoMesh& m) {
       Handles h = strip(m);
       TopoMeshEdge t = h.e[0].twin();
       m.splitEdge(h.e[0]);
       h.e.push_back(t);
       return h;
     },
     [](TopoMesh& m, const Handles& h) { m.mergeVertices(h.e[0], h.e[1]); }},
    {"swapEdge", octahedron,
     [](TopoMesh& m, const Handles& h) { m.swapEdge(edge(h.v[2], h.v[3])); }},
    {"setTwins", strip, [](TopoMesh& m, const Handles& h) { m.setTwins(h.e[0], h.e[0].twin()); }},
    {"setPoint", strip,
     [](TopoMesh& m, const Handles& h) {
       m.setPoint(h.v[0], {9, 9, 9});
     }},
};

// The most changes a session leaves pending before its edit: enough to carry the log's tables
// across their first growths, so that some fill level makes them grow inside the edit.
constexpr int kMaxPending = 70;

// A mesh built by `setup`; with a log, also a saved state of it and `pending` changes after it
// (moves of spare isolated vertices).
struct Session {
  TopoMesh mesh;
  Handles h;
  StateRef saved;
  topodump::MeshDump savedDump;

  Session(Handles (*setup)(TopoMesh&), bool logged, int pending) {
    if (logged) mesh.enableTransactions();
    h = setup(mesh);
    if (!logged) return;
    std::vector<TopoMeshVertex> spares;
    for (int k = 0; k < kMaxPending; ++k) spares.push_back(mesh.allocVertex({-1, -1, double(k)}));
    saved = mesh.createState();
    savedDump = topodump::dump(mesh);
    for (int k = 0; k < pending; ++k) mesh.setPoint(spares[k], {-2, -2, double(k)});
  }
  ~Session() { saved = StateRef(); }  // before the mesh, as callers hold states
};

// What every failed call must leave: the mesh as before, valid, no pool record lost, the saved
// state restorable; and the mesh usable, so the edit then succeeds.
void expectUntouched(Session& s, const topodump::MeshDump& before,
                     void (*edit)(TopoMesh&, const Handles&)) {
  EXPECT_EQ(topodump::difference(topodump::dump(s.mesh), before), "");
  EXPECT_MESH_VALID(s.mesh);
  if (s.saved) {
    EXPECT_EQ(topodump::unaccounted(s.mesh), 0);
    s.mesh.setState(s.saved);
    EXPECT_EQ(topodump::difference(topodump::dump(s.mesh), s.savedDump), "");
  }
  edit(s.mesh, s.h);
  EXPECT_MESH_VALID(s.mesh);
}

// With the log on, each edit runs at every fill level of the log from 0 to kMaxPending pending
// records, so that wherever the log's tables grow within the edit, that growth fails once.
TEST(TopoMeshAllocationTest, EveryEditIsAllOrNothing) {
  for (bool logged : {false, true}) {
    for (const EditCase& c : kEdits) {
      const std::string name = std::string("TopoMesh::") + c.name +
                               (logged ? " (log on, each fill level)" : " (log off)");
      long points = 0;
      for (int pending = 0; pending <= (logged ? kMaxPending : 0); ++pending) {
        SCOPED_TRACE(testing::Message() << pending << " records pending");
        points += sweep(
            name,
            [&](long n) {
              Session s(c.setup, logged, pending);
              const topodump::MeshDump before = topodump::dump(s.mesh);
              const Outcome o = runFailing(n, [&] { c.edit(s.mesh, s.h); });
              if (o.threw) expectUntouched(s, before, c.edit);
              if (!o.threw) {
                EXPECT_MESH_VALID(s.mesh);
              }
              return o;
            },
            false);
        if (testing::Test::HasFailure()) return;
      }
      std::printf("%-64s %5ld allocation points\n", name.c_str(), points);
    }
  }
}

// A log with a branching tree of states; `states` hold every one of them with its dump.
struct StateTree {
  TopoMesh mesh;
  std::vector<std::pair<StateRef, topodump::MeshDump>> states;
  std::vector<TopoMeshVertex> torus;

  StateTree() {
    mesh.enableTransactions();
    torus = buildTorus(mesh, 4, 4);
    save();
    mesh.subdivideFace(mesh.firstFace(), {0.5, 0.5, 0.5});
    save();
    mesh.swapEdge(mesh.firstEdge());
    save();
    mesh.setState(states[0].first);
    mesh.collapseEdge(edge(torus[5], torus[6]));
    save();
    mesh.setPoint(torus[0], {1, 2, 3});  // pending
  }
  ~StateTree() { states.clear(); }
  void save() { states.push_back({mesh.createState(), topodump::dump(mesh)}); }
  void expectRestorable() {
    EXPECT_EQ(topodump::unaccounted(mesh), 0);
    for (const auto& [state, dump] : states) {
      mesh.setState(state);
      EXPECT_EQ(topodump::difference(topodump::dump(mesh), dump), "");
    }
  }
};

TEST(TopoMeshAllocationTest, SavedStatesAreMadeRestoredAndDroppedAllOrNothing) {
  sweep("TopoMesh::createState", [](long n) {
    StateTree t;
    const topodump::MeshDump before = topodump::dump(t.mesh);
    StateRef made;
    const Outcome o = runFailing(n, [&] { made = t.mesh.createState(); });
    if (o.threw) {
      EXPECT_EQ(topodump::difference(topodump::dump(t.mesh), before), "");
    }
    EXPECT_MESH_VALID(t.mesh);
    made = StateRef();
    t.expectRestorable();
    return o;
  });
  for (std::size_t target : {0u, 1u, 2u}) {
    sweep("TopoMesh::setState to state " + std::to_string(target), [&](long n) {
      StateTree t;
      const topodump::MeshDump before = topodump::dump(t.mesh);
      const Outcome o = runFailing(n, [&] { t.mesh.setState(t.states[target].first); });
      const topodump::MeshDump& expected = o.threw ? before : t.states[target].second;
      EXPECT_EQ(topodump::difference(topodump::dump(t.mesh), expected), "");
      EXPECT_MESH_VALID(t.mesh);
      t.expectRestorable();
      return o;
    });
  }
  // Dropping the last reference prunes the state, merging change sets: that must never throw
  // (it runs in destructors); short of memory, the state simply stays in the tree.
  sweep("TopoMeshState release (pruning)", [](long n) {
    StateTree t;
    t.mesh.setState(t.states[3].first);
    const Outcome o = runFailing(n, [&] { t.states.erase(t.states.begin() + 1); });
    EXPECT_FALSE(o.threw);
    EXPECT_MESH_VALID(t.mesh);
    t.expectRestorable();
    return o;
  });
}

// A session of random edits of every kind with states made and restored, failing each of its
// allocations in turn: the failure may fall anywhere inside an edit, where the log and the pools
// grow at their own pace. The session stops at the failure, and the mesh must still be valid,
// lose no pool record, and restore every saved state exactly.
TEST(TopoMeshAllocationTest, RandomSessionsSurviveAFailureAnywhere) {
  sweep("TopoMesh random session (60 edits, states)", [](long n) {
    RandomEdits edits(20240611u);
    buildTorus(edits.mesh, 5, 6);
    edits.mesh.enableTransactions();
    std::vector<std::pair<StateRef, topodump::MeshDump>> saved;
    saved.push_back({edits.mesh.createState(), topodump::dump(edits.mesh)});
    const Outcome o = runFailing(n, [&] {
      for (int step = 0; step < 60; ++step) {
        edits.step(static_cast<int>(edits.rng() % RandomEdits::kAllKinds));
        if (step % 8 == 7) {
          StateRef s = edits.mesh.createState();
          failalloc::Paused paused;
          saved.push_back({s, topodump::dump(edits.mesh)});
        }
        if (step % 20 == 19) edits.mesh.setState(saved[saved.size() / 2].first);
      }
    });
    EXPECT_MESH_VALID(edits.mesh);
    EXPECT_EQ(topodump::unaccounted(edits.mesh), 0);
    for (const auto& [state, dump] : saved) {
      edits.mesh.setState(state);
      EXPECT_EQ(topodump::difference(topodump::dump(edits.mesh), dump), "");
    }
    saved.clear();
    return o;
  });
}

TEST(TopoMeshAllocationTest, CreationAndCopiesLeaveTheirSourcesAndTargetsIntact) {
  sweep("TopoMesh creation, building, enableTransactions", [](long n) {
    return runFailing(n, [] {
      auto mesh = std::make_unique<TopoMesh>();
      buildOctahedron(*mesh);
      mesh->enableTransactions();
      StateRef s = mesh->createState();
      mesh->subdivideFace(mesh->firstFace(), {0, 0, 0});
      mesh->setState(s);
    });
  });
  sweep("TopoMesh copy constructor", [](long n) {
    StateTree t;
    const topodump::MeshDump before = topodump::dump(t.mesh);
    const Outcome o = runFailing(n, [&] {
      TopoMesh copy(t.mesh);
      EXPECT_MESH_VALID(copy);
    });
    EXPECT_EQ(topodump::difference(topodump::dump(t.mesh), before), "");
    return o;
  });
  sweep("TopoMesh::operator= and copy with maps", [](long n) {
    StateTree t;
    TopoMesh target;
    buildFan6(target);
    TopoMesh::CopyData maps;
    const topodump::MeshDump before = topodump::dump(target);
    const Outcome o = runFailing(n, [&] {
      target = t.mesh;
      target.copy(target, maps);  // onto itself
    });
    EXPECT_MESH_VALID(target);
    if (o.threw && target.numVertices() != t.mesh.numVertices()) {
      EXPECT_EQ(topodump::difference(topodump::dump(target), before), "");
    }
    if (!o.threw) {
      EXPECT_EQ(maps.vertexMap.size(), std::size_t(t.mesh.numVertices()));
    }
    return o;
  });
}

}  // namespace
