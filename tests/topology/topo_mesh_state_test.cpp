// Saved states of a TopoMesh: recording rules, discarding pending edits, tags, and pruning of
// unreferenced states with the current state on either side of a merge. Undo and redo across
// the state tree are covered by the random sessions in topo_mesh_random_test.cpp.
#include "topo_fixtures.h"
#include "topo_mesh_dump.h"

#include <gtest/gtest.h>

namespace {

using namespace krGeom;
using namespace topofix;
using namespace topodump;
using StateRef = kr::Reference<TopoMeshState>;

TopoMeshLog& logOf(const TopoMesh& mesh) {
  return *mesh.getImpl()->log();
}

TopoMeshStateImpl* implOf(const StateRef& s) {
  return static_cast<TopoMeshStateImpl*>(s.get());
}

const TopoMeshLogEntry* findEntry(const TopoMeshChangeSet& changes, const void* rec) {
  for (const TopoMeshLogEntry& e : changes.entries)
    if (e.record == rec) return &e;
  return nullptr;
}
// The entry's status, or -1 when the change set has none for `rec`.
int statusOf(const TopoMeshChangeSet& changes, const void* rec) {
  const TopoMeshLogEntry* e = findEntry(changes, rec);
  return e ? e->status : -1;
}
// The z of the vertex copy saved by the entry for `v` (which must have one).
double savedZ(const TopoMeshChangeSet& changes, TopoMeshVertex v) {
  return static_cast<TopoMeshVertexData*>(findEntry(changes, v.data())->copy)->point.z();
}

// Brings the mesh to `state` and checks it against the dump taken when the state was made.
void expectRestored(TopoMesh& mesh, const StateRef& state, const MeshDump& expected) {
  mesh.setState(state);
  EXPECT_EQ(difference(dump(mesh), expected), "");
  EXPECT_MESH_VALID(mesh);
  EXPECT_EQ(unaccounted(mesh), 0);
}

TEST(TopoMeshStateTest, RecordingKeepsTheFirstImageAndForgetsShortLivedRecords) {
  TopoMesh mesh;
  Octahedron o = buildOctahedron(mesh);
  Triangle lone = buildTriangle(mesh);
  mesh.enableTransactions();
  const TopoMeshChangeSet& pending = logOf(mesh).pending();

  // Nothing changed: the same state again, with a second reference.
  StateRef a = mesh.createState(), b = mesh.createState();
  EXPECT_TRUE(a.get() == b.get() && a->refs() == 2 && a->getTag() == 0);

  mesh.setPoint(o.top, {0, 0, 2});
  mesh.setPoint(o.top, {0, 0, 3});
  mesh.setPoint(lone.a, {3, 3, 3});
  mesh.deleteVertex(lone.a);  // changed, then deleted (valence 1: its face goes too)
  TopoMeshVertex x = mesh.allocVertex({4, 4, 4}), y = mesh.allocVertex({5, 4, 4}),
                 z = mesh.allocVertex({4, 5, 4});
  TopoMeshFace brief = mesh.allocTriangle(x, y, z);
  TopoMeshEdge briefEdge = brief.firstEdge();
  mesh.deleteFace(brief);  // created, then deleted, with its half-edges

  EXPECT_EQ((std::vector<int>{statusOf(pending, o.top.data()), statusOf(pending, lone.a.data()),
                              statusOf(pending, lone.face.data()), statusOf(pending, brief.data()),
                              statusOf(pending, briefEdge.data()), statusOf(pending, x.data())}),
            (std::vector<int>{eChanged, eDeleted, eDeleted, -1, -1, eCreated}));
  EXPECT_EQ(findEntry(pending, o.top.data())->kind, eVertexRecord);
  EXPECT_EQ(std::make_pair(savedZ(pending, o.top), savedZ(pending, lone.a)),
            std::make_pair(1.0, 0.0));
  EXPECT_EQ(findEntry(pending, x.data())->copy, nullptr);

  // The short-lived face and half-edges go back to their pools once the state is made.
  const std::size_t items = poolItems(mesh);
  StateRef s = mesh.createState();
  EXPECT_NE(s.get(), a.get());
  EXPECT_EQ(poolItems(mesh), items - 4);
  EXPECT_EQ(unaccounted(mesh), 0);
}

TEST(TopoMeshStateTest, SetStateDiscardsPendingEditsFirst) {
  TopoMesh mesh;
  Fan6 fan = buildFan6(mesh);
  mesh.enableTransactions();
  StateRef s0 = mesh.createState();
  const MeshDump d0 = dump(mesh);
  const std::size_t items0 = poolItems(mesh);

  mesh.subdivideFace(fan.faces[2], {0.5, 0.5, 0});
  mesh.deleteFace(fan.faces[4]);
  mesh.setPoint(fan.centre, {0, 0, 1});
  expectRestored(mesh, s0, d0);
  // Copies and the records created since are back in their pools; no state was made.
  EXPECT_EQ(poolItems(mesh), items0);
  EXPECT_EQ(logOf(mesh).current(), s0.get());
  EXPECT_EQ(logOf(mesh).usage().states, 1);

  mesh.deleteFace(fan.faces[0]);
  mesh.setPoint(fan.ring[3], {5, 5, 5});
  StateRef s1 = mesh.createState();
  const MeshDump d1 = dump(mesh);
  mesh.subdivideEdge(edge(fan.centre, fan.ring[3]), {2, 2, 2});
  expectRestored(mesh, s0, d0);  // discard, then undo s1's change set
  expectRestored(mesh, s1, d1);
}

// Metadata written through handles is not logged: setState brings back whole records as they
// were before their first logged change, so only a write after that change is undone.
TEST(TopoMeshStateTest, HandleMetadataComesBackOnlyAfterALoggedChange) {
  TopoMesh mesh;
  Octahedron o = buildOctahedron(mesh);
  mesh.enableTransactions();
  TopoMeshVertex before = o.top, after = o.bottom, untouched = o.e[0];
  for (TopoMeshVertex v : {before, after, untouched}) v.setMetadata(0, BlindData(0.5f));
  StateRef s0 = mesh.createState();
  before.setMetadata(0, BlindData(1));
  mesh.setPoint(before, {0, 0, 2});
  mesh.setPoint(after, {0, 0, -2});
  after.setMetadata(0, BlindData(2));
  untouched.setMetadata(0, BlindData(3));
  mesh.setState(s0);
  EXPECT_EQ(before.getMetadata(0).type(), BlindData::eInt);
  EXPECT_EQ(after.getMetadata(0).type(), BlindData::eFloat);
  EXPECT_EQ(untouched.getMetadata(0).type(), BlindData::eInt);
  EXPECT_EQ(std::make_pair(before.point().z(), after.point().z()), std::make_pair(1.0, -1.0));
}

TEST(TopoMeshStateTest, TagsComeFromTheFreedStackBeforeTheCounter) {
  TopoMesh mesh;
  Triangle t = buildTriangle(mesh);
  mesh.enableTransactions();
  EXPECT_EQ(logOf(mesh).current()->getTag(), 0);

  auto moveAndSave = [&](double z) {
    mesh.setPoint(t.a, {z, z, z});
    return mesh.createState();
  };
  StateRef a = moveAndSave(1);  // the unreferenced root is pruned: tag 0 freed
  StateRef b = moveAndSave(2), c = moveAndSave(3);
  EXPECT_EQ((std::vector<int>{a->getTag(), b->getTag(), c->getTag()}), (std::vector<int>{1, 0, 2}));
  EXPECT_EQ(logOf(mesh).root(), a.get());

  b.reset();  // merged away: freed tags {0}
  a.reset();  // root handed to c: freed tags {0, 1}
  EXPECT_EQ(logOf(mesh).root(), c.get());
  EXPECT_EQ(logOf(mesh).usage().states, 1);
  EXPECT_EQ(moveAndSave(4)->getTag(), 1);  // last freed first; then dropped at once
  EXPECT_EQ(moveAndSave(5)->getTag(), 0);
}

// Where the current state is when the middle state S of P -> S -> Q is dropped.
enum class Current { kAtParent, kOnSibling, kAtChild, kBelowChild };

class TopoMeshStateMergeTest : public testing::TestWithParam<Current> {};

TEST_P(TopoMeshStateMergeTest, MergedChangeSetRestoresBothEnds) {
  const Current where = GetParam();
  TopoMesh mesh;
  const std::vector<TopoMeshVertex> t = buildTorus(mesh, 4, 4);
  auto v = [&](int r, int c) { return t[r * 4 + c]; };
  mesh.enableTransactions();
  StateRef p = mesh.createState();
  const MeshDump dp = dump(mesh);

  // P -> S: creates a fan centre `kept` and a fan centre `brief`, changes v(0, 0) and others.
  TopoMeshFace f0 = mesh.firstFace();
  TopoMeshVertex kept = mesh.subdivideFace(f0, f0.centroid());
  TopoMeshFace f1 = f0.nextInMesh().nextInMesh().nextInMesh();
  TopoMeshVertex brief = mesh.subdivideFace(f1, f1.centroid());
  mesh.setPoint(v(0, 0), {0, 0, 5});
  StateRef s = mesh.createState();

  // S -> Q: changes a record created before, one changed before, deletes one created before
  // (with its fan), and deletes records that P has (an edge collapse away from the fans).
  mesh.setPoint(kept, {1, 1, 1});
  mesh.setPoint(v(0, 0), {0, 0, 6});
  ASSERT_FALSE(mesh.deleteVertex(brief).data() == nullptr);
  mesh.collapseEdge(edge(v(2, 2), v(2, 3)));
  StateRef q = mesh.createState();
  const MeshDump dq = dump(mesh);
  EXPECT_MESH_VALID(mesh);

  StateRef extra;
  MeshDump dextra;
  const bool parentSide = where == Current::kAtParent || where == Current::kOnSibling;
  if (parentSide) mesh.setState(p);
  if (where == Current::kOnSibling || where == Current::kBelowChild) {
    // A sibling of S under P, or a child of Q; both change v(0, 0) once more.
    mesh.setPoint(parentSide ? v(3, 3) : kept, {4, 4, 4});
    mesh.setPoint(v(0, 0), {8, 8, 8});
    extra = mesh.createState();
    dextra = dump(mesh);
  }

  const std::size_t before = poolItems(mesh);
  s.reset();
  EXPECT_EQ(logOf(mesh).usage().states, extra ? 3 : 2);
  EXPECT_EQ(implOf(q)->parent, p.get());
  EXPECT_EQ(unaccounted(mesh), 0);
  // `brief` and its fan existed only at S; a copy of each record in both change sets went too.
  EXPECT_LE(poolItems(mesh), before - 8);

  const TopoMeshChangeSet& merged = implOf(q)->changes;
  EXPECT_EQ((std::vector<int>{statusOf(merged, brief.data()), statusOf(merged, kept.data()),
                              statusOf(merged, v(0, 0).data()), statusOf(merged, v(2, 2).data())}),
            (std::vector<int>{-1, eCreated, eChanged, eDeleted}));
  // Created in the first and changed in the second: Q's version is needed only from P's side.
  EXPECT_EQ(findEntry(merged, kept.data())->copy != nullptr, parentSide);
  EXPECT_EQ(savedZ(merged, v(0, 0)), parentSide ? 6 : 0);

  expectRestored(mesh, q, dq);
  expectRestored(mesh, p, dp);
  if (extra) expectRestored(mesh, extra, dextra);
  expectRestored(mesh, q, dq);
  if (extra) expectRestored(mesh, extra, dextra);
  expectRestored(mesh, p, dp);
}

std::string placeName(const testing::TestParamInfo<Current>& info) {
  const char* const names[] = {"AtParent", "OnSibling", "AtChild", "BelowChild"};
  return names[static_cast<int>(info.param)];
}
INSTANTIATE_TEST_SUITE_P(AllPlaces, TopoMeshStateMergeTest,
                         testing::Values(Current::kAtParent, Current::kOnSibling, Current::kAtChild,
                                         Current::kBelowChild),
                         placeName);

}  // namespace
