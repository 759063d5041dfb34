#include <geom/topology/boundary_iterator.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "topo_fixtures.h"

namespace {

using namespace krGeom;
using ::testing::ElementsAreArray;
using topofix::edge;

std::vector<TopoMeshEdge> walk(TopoMeshBoundaryIterator it) {
  std::vector<TopoMeshEdge> edges;
  for (; it.valid() && edges.size() < 100; it.next()) edges.push_back(it.edge());
  return edges;
}

TEST(TopoMeshBoundaryIterator, LoneTriangleWalksItsLoopEitherWayFromEveryHalfEdge) {
  TopoMesh mesh;
  const topofix::Triangle lone = topofix::buildTriangle(mesh);
  TopoMeshEdge e = lone.face.firstEdge();
  for (int i = 0; i < 3; ++i, e = e.next()) {
    EXPECT_THAT(walk(TopoMeshBoundaryIterator(e)), ElementsAreArray({e, e.next(), e.prev()}));
    EXPECT_THAT(walk(TopoMeshBoundaryIterator(e, false)),
                ElementsAreArray({e, e.prev(), e.next()}));
    TopoMeshBoundaryIterator it(e);
    EXPECT_EQ(it.prevEdge(), e.prev());
    it.next();
    it.next();
    EXPECT_EQ(it.nextEdge(), e) << "nextEdge names the start where next() stops";
    it.next();
    EXPECT_EQ(it.nextEdge(), TopoMeshEdge());
    it.next();
    EXPECT_FALSE(it.valid()) << "next() after the end stays at the end";
  }
  EXPECT_EQ(TopoMeshBoundaryIterator(lone.b).edge(), edge(lone.b, lone.c));
}

TEST(TopoMeshBoundaryIterator, OpenFanBoundaryIsFollowedThroughVerticesWhoseFirstEdgeIsInside) {
  TopoMesh mesh;
  const topofix::Fan6 fan = topofix::buildFan6(mesh);
  // No walk from an interior or isolated vertex; the rim of the closed fan is a loop of six.
  EXPECT_FALSE(TopoMeshBoundaryIterator(fan.centre).valid());
  EXPECT_FALSE(TopoMeshBoundaryIterator(mesh.allocVertex({5, 5, 5}), false).valid());
  EXPECT_EQ(walk(TopoMeshBoundaryIterator(fan.ring[3])).size(), 6u);

  mesh.deleteFace(fan.faces[5]);  // the boundary: ring 0..5 along the rim, then 5-centre-0
  // ring[2]'s firstEdge (to the centre) has a twin: the walk must find 2 -> 3 the other way.
  ASSERT_TRUE(fan.ring[2].firstEdge().twin());
  TopoMeshEdge prev, next;
  TopoMeshBoundaryIterator::getPrevNextEdges(fan.ring[2], prev, next);
  EXPECT_EQ(prev, edge(fan.ring[1], fan.ring[2]));
  EXPECT_EQ(next, edge(fan.ring[2], fan.ring[3]));

  std::vector<TopoMeshVertex> loop = {fan.centre,  fan.ring[0], fan.ring[1], fan.ring[2],
                                      fan.ring[3], fan.ring[4], fan.ring[5], fan.centre};
  std::vector<TopoMeshEdge> forward, backward;
  for (std::size_t i = 0; i + 1 < loop.size(); ++i) forward.push_back(edge(loop[i], loop[i + 1]));
  backward.push_back(forward[0]);
  backward.insert(backward.end(), forward.rbegin(), forward.rend() - 1);
  EXPECT_THAT(walk(TopoMeshBoundaryIterator(fan.centre)), ElementsAreArray(forward));
  EXPECT_THAT(walk(TopoMeshBoundaryIterator(forward[0], false)), ElementsAreArray(backward));
}

TEST(TopoMeshBoundaryIterator, PrevNextAtAVertexKeepTheLastFound) {
  // A bow tie at v, hand-linked so that one fan walk meets two boundary arrivals: forward from
  // h1 the walk stops at once (p1 has no twin), then goes the other way through h1.twin = p2
  // on to h2, whose prev p2 has no twin either.
  TopoMesh mesh;
  TopoMeshVertex v = mesh.allocVertex({0, 0, 0});
  TopoMeshFace t1 = mesh.allocTriangle(v, mesh.allocVertex({1, 0, 0}), mesh.allocVertex({1, 1, 0}));
  TopoMeshFace t2 =
      mesh.allocTriangle(v, mesh.allocVertex({-1, 0, 0}), mesh.allocVertex({-1, -1, 0}));
  TopoMeshEdge h1 = t1.firstEdge(), h2 = t2.firstEdge(), p2 = h2.prev();
  ASSERT_EQ(v.firstEdge(), h1);
  h1.data()->twin = p2.data();
  TopoMeshEdge prev, next;
  TopoMeshBoundaryIterator::getPrevNextEdges(v, prev, next);
  h1.data()->twin = nullptr;
  EXPECT_EQ(prev, p2);
  EXPECT_EQ(next, h2);
}

}  // namespace
