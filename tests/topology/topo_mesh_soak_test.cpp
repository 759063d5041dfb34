// Long random sessions on two half-edge meshes with transaction logs: every editing operation,
// saved states made, restored and dropped, whole-mesh copies, assignments and swaps. After every
// step the edited mesh must pass the invariant checker and stay a closed torus with no pool
// record unaccounted for; every restored state must match the dump taken when it was made.
//
//   topo_mesh_soak_test [--steps N] [--rng-start V] [gtest options]
//
// Without --rng-start the session runs from fixed, printed starting values; with it, from V only
// (to replay a failure). --steps sets the steps per session.
#include "topo_fixtures.h"
#include "topo_mesh_dump.h"
#include "topo_random_edits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace krGeom;
using namespace topofix;
using StateRef = kr::Reference<TopoMeshState>;
using Saved = std::pair<StateRef, topodump::MeshDump>;

long stepsPerSession = 100000;
std::optional<std::uint32_t> chosenStart;

// One mesh of the session with the states saved on it.
struct Slot {
  explicit Slot(std::uint32_t rngSeed) : edits(rngSeed) {
    buildTorus(edits.mesh, 6, 8);
    startLog();
  }
  void startLog() {
    edits.mesh.enableTransactions();
    save();
  }
  void save() {
    StateRef s = edits.mesh.createState();
    for (const Saved& k : saved)
      if (k.first == s) return;
    saved.push_back({s, topodump::dump(edits.mesh)});
  }
  // States first: they are held by callers, and detach when their mesh goes.
  ~Slot() { saved.clear(); }

  RandomEdits edits;
  std::vector<Saved> saved;
};

struct Tally {
  long edits = 0, states = 0, restores = 0, drops = 0, copies = 0, assignments = 0, swaps = 0;
  long kinds[RandomEdits::kAllKinds] = {};
};

::testing::AssertionResult sound(const Slot& s) {
  ::testing::AssertionResult closed = s.edits.closedTorus();
  if (!closed) return closed;
  if (topodump::unaccounted(s.edits.mesh) != 0)
    return ::testing::AssertionFailure() << "pool records unaccounted for";
  return ::testing::AssertionSuccess();
}

void runSession(std::uint32_t rngSeed, long steps) {
  std::printf("rngSeed = %u, %ld steps\n", rngSeed, steps);
  SCOPED_TRACE(testing::Message() << "rngSeed " << rngSeed);
  Slot slots[2] = {Slot(rngSeed), Slot(rngSeed ^ 0x5bd1e995u)};
  std::mt19937 rng(rngSeed + 1);
  Tally tally;
  int cur = 0;
  for (long step = 0; step < steps; ++step) {
    Slot& s = slots[cur];
    TopoMesh& mesh = s.edits.mesh;
    const std::uint32_t r = rng() % 1000;
    if (r < 520) {
      if (r < 60) {
        mesh.setPoint(mesh.firstVertex(), {double(step % 7), double(r), 1.0});
      } else {
        const int kind = static_cast<int>(rng() % RandomEdits::kAllKinds);
        if (s.edits.step(kind)) ++tally.kinds[kind];
      }
      ++tally.edits;
    } else if (r < 640) {
      s.save();
      ++tally.states;
    } else if (r < 790) {
      const Saved& target = s.saved[rng() % s.saved.size()];
      mesh.setState(target.first);
      ++tally.restores;
      ASSERT_EQ(topodump::difference(topodump::dump(mesh), target.second), "") << "step " << step;
    } else if (r < 870) {
      if (s.saved.size() > 1) s.saved.erase(s.saved.begin() + rng() % s.saved.size());
      ++tally.drops;
    } else if (r < 900) {
      const TopoMesh copy(mesh);
      ASSERT_STREQ(copy.findBrokenInvariant().c_str(), "") << "copy at step " << step;
      ASSERT_EQ(copy.numEdges(), mesh.numEdges());
      ++tally.copies;
    } else if (r < 910) {
      // The other mesh becomes a copy of this one; its log and states go (held states detach).
      Slot& other = slots[1 - cur];
      other.edits.mesh = mesh;
      other.saved.clear();
      other.startLog();
      ++tally.assignments;
    } else if (r < 940) {
      slots[0].edits.mesh.swap(slots[1].edits.mesh);  // logs and states follow the contents
      std::swap(slots[0].saved, slots[1].saved);
      ++tally.swaps;
    } else {
      cur = 1 - cur;
    }
    while (slots[cur].saved.size() > 12) slots[cur].saved.erase(slots[cur].saved.begin());
    ASSERT_TRUE(sound(slots[cur])) << "step " << step << " (r " << r << ")";
  }
  for (Slot& s : slots) {  // every state still held restores exactly
    for (const Saved& k : s.saved) {
      s.edits.mesh.setState(k.first);
      ASSERT_EQ(topodump::difference(topodump::dump(s.edits.mesh), k.second), "");
    }
  }
  std::printf("  %ld edits (kinds:", tally.edits);
  for (long k : tally.kinds) std::printf(" %ld", k);
  std::printf("), %ld states, %ld restores, %ld drops, %ld copies, %ld assignments, %ld swaps\n",
              tally.states, tally.restores, tally.drops, tally.copies, tally.assignments,
              tally.swaps);
  for (int kind = 0; kind < RandomEdits::kAllKinds && steps >= 20000; ++kind)
    EXPECT_GT(tally.kinds[kind], 0) << "edit kind " << kind << " never applied";
}

TEST(TopoMeshSoakTest, LongSessionsKeepEveryInvariant) {
  if (chosenStart) {
    runSession(*chosenStart, stepsPerSession);
    return;
  }
  for (std::uint32_t rngSeed : {7u, 20240611u}) runSession(rngSeed, stepsPerSession / 2);
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);  // takes out the gtest options
  for (int i = 1; i < argc; i += 2) {
    const bool hasValue = i + 1 < argc;
    if (hasValue && std::strcmp(argv[i], "--steps") == 0) {
      stepsPerSession = std::atol(argv[i + 1]);
    } else if (hasValue && std::strcmp(argv[i], "--rng-start") == 0) {
      chosenStart = static_cast<std::uint32_t>(std::strtoul(argv[i + 1], nullptr, 0));
    } else {
      std::fprintf(stderr, "usage: %s [--steps N] [--rng-start V] [gtest options]\n", argv[0]);
      return 2;
    }
  }
  return RUN_ALL_TESTS();
}
