// Random valid edits of a closed triangulated torus, shared by the random-edit tests and the
// soak test. Every edit keeps a closed triangulated surface whose valences are 3 or more.
#pragma once

#include "topo_fixtures.h"

#include <geom/topology.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <vector>

namespace topofix {

inline std::set<TopoMeshVertex> neighbours(TopoMeshVertex v) {
  std::set<TopoMeshVertex> out;
  for (krGeom::TopoMeshEdgeVertexIterator it(v); it.valid(); it.next()) out.insert(it.edge().v2());
  return out;
}

struct RandomEdits {
  explicit RandomEdits(std::uint32_t rngSeed) : rng(rngSeed) {}

  TopoMesh mesh;
  std::mt19937 rng;
  // Kinds 0 to kKinds - 1 are the common edits; the others are compound edits that reach the
  // remaining operations (holes cut and refilled, cuts glued back) and end closed again.
  static constexpr int kKinds = 7;
  static constexpr int kAllKinds = 16;

  // Tries one edit of the given kind; false when its precondition does not hold.
  bool step(int kind) {
    const bool mayGrow = mesh.numVertices()<120, mayShrink = mesh.numVertices()> 30;
    TopoMeshEdge e = mesh.firstEdge();
    for (std::uint32_t k = rng() % mesh.numEdges(); k > 0; --k) e = e.nextInMesh();
    TopoMeshVertex u = e.v1(), w = e.v2(), c = e.prev().v1(), d = e.twin().prev().v1();
    switch (kind) {
      case 0:  // flip
        return u.valence() >= 4 && w.valence() >= 4 && mesh.swapEdge(e);
      case 1: {  // edge split: subdivide the edge, then cut both quads into triangles
        if (!mayGrow) return false;
        TopoMeshEdge t = e.twin();
        TopoMeshVertex v = mesh.subdivideEdge(e, u.point() + e.vector() * 0.5);
        mesh.subdivideFace(e.face(), v, c);
        mesh.subdivideFace(t.face(), v, d);
        return true;
      }
      case 2:  // fan a triangle
        return mayGrow && mesh.subdivideFace(e.face(), e.face().centroid());
      case 3: {  // remove a vertex of valence 3 whose neighbours keep valence 3 or more
        if (!mayShrink || u.valence() != 3) return false;
        for (TopoMeshVertex x : neighbours(u))
          if (x.valence() < 4) return false;
        EXPECT_TRUE(mesh.deleteVertex(u));
        return true;
      }
      case 4:  // collapse under the link condition
        if (!mayShrink || !collapsible(e)) return false;
        EXPECT_EQ(mesh.collapseEdge(e), w);
        return true;
      case 5:
      case 6: {  // remove an edge and cut the quad along the same diagonal, or the other (a flip)
        const bool flip = kind == 6;
        if (flip && (u.valence() < 4 || w.valence() < 4 || edge(c, d) || edge(d, c))) return false;
        TopoMeshFace f = e.face();
        if (!mesh.deleteEdge(e)) return false;
        EXPECT_EQ(f.numVertices(), 4);
        TopoMeshEdge cut = flip ? mesh.subdivideFace(f, c, d) : mesh.subdivideFace(f, u, w);
        EXPECT_EQ(cut, flip ? edge(c, d) : edge(u, w));
        return true;
      }
      default:
        return compound(kind, e);
    }
  }

  // The link condition of collapsing e (u into w): u and w share exactly the two neighbours
  // across e, and no valence falls below 3.
  bool collapsible(TopoMeshEdge e) const {
    TopoMeshVertex u = e.v1(), w = e.v2(), c = e.prev().v1(), d = e.twin().prev().v1();
    if (c.valence() < 4 || d.valence() < 4 || u.valence() + w.valence() < 7) return false;
    std::set<TopoMeshVertex> nu = neighbours(u), common;
    for (TopoMeshVertex x : neighbours(w))
      if (nu.count(x)) common.insert(x);
    return common == std::set<TopoMeshVertex>{c, d};
  }

  // The closed-torus properties every valid edit keeps.
  ::testing::AssertionResult closedTorus() const {
    const krString::CString broken = mesh.findBrokenInvariant();
    if (!broken.empty()) return ::testing::AssertionFailure() << broken.c_str();
    for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInMesh())
      if (!e.twin() || e.face().numVertices() != 3 || e.v1().valence() < 3)
        return ::testing::AssertionFailure() << "a boundary, a non-triangle or a valence below 3";
    // An isolated vertex would change the Euler characteristic.
    const int euler = mesh.numVertices() - mesh.numEdges() / 2 + mesh.numFaces();
    if (euler == 0) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "Euler characteristic " << euler;
  }

 private:
  // A face at `at` that does not touch `avoid`; null if none.
  static TopoMeshFace faceAwayFrom(TopoMeshVertex at, TopoMeshVertex avoid) {
    for (krGeom::TopoMeshEdgeVertexIterator it(at); it.valid(); it.next()) {
      const Corners corners = loop(it.edge().face());
      if (std::find(corners.begin(), corners.end(), avoid) == corners.end())
        return it.edge().face();
    }
    return {};
  }
  // The half-edge from a to b that has no twin; null if none.
  static TopoMeshEdge openEdge(TopoMeshVertex a, TopoMeshVertex b) {
    for (krGeom::TopoMeshEdgeVertexIterator it(a); it.valid(); it.next())
      if (it.edge().v2() == b && !it.edge().twin()) return it.edge();
    return {};
  }
  // Fills the hole a face with these corners left, as a triangle or a general face.
  void refill(const Corners& corners) {
    if (rng() % 2)
      mesh.allocTriangle(corners[0], corners[1], corners[2]);
    else
      mesh.allocFace(corners);
  }

  bool compound(int kind, TopoMeshEdge e) {
    const bool mayGrow = mesh.numVertices()<120, mayShrink = mesh.numVertices()> 30;
    TopoMeshVertex u = e.v1(), w = e.v2(), c = e.prev().v1(), d = e.twin().prev().v1();
    switch (kind) {
      case 7: {  // delete a face and fill the hole again
        const Corners corners = loop(e.face());
        mesh.deleteFace(e.face());
        refill(corners);
        return true;
      }
      case 8: {  // merge two triangles, rebuild the quad, cut it along either diagonal
        const bool flip =
            rng() % 2 && u.valence() >= 4 && w.valence() >= 4 && !edge(c, d) && !edge(d, c);
        TopoMeshFace f = e.face();
        mesh.deleteEdge(e);
        const Corners q = loop(f);  // c, u, d, w in some rotation
        mesh.deleteFace(f);
        TopoMeshFace g = mesh.allocQuad(q[0], q[1], q[2], q[3]);
        const bool startsAtDiagonal = flip == (q[0] == c || q[0] == d);
        TopoMeshEdge h = g.firstEdge();
        if (!startsAtDiagonal) h = h.next();
        mesh.splitFace(h, h.next().next());
        return true;
      }
      case 9:
      case 10: {  // cut along e (splitEdge, or splitVertex at u) between holes, glue, refill
        TopoMeshFace f = faceAwayFrom(u, w), g = faceAwayFrom(w, u);
        if (!f || !g) return false;
        const Corners fc = loop(f), gc = loop(g);
        const bool shared = std::find(fc.begin(), fc.end(), gc[0]) != fc.end() ||
                            std::find(fc.begin(), fc.end(), gc[1]) != fc.end() ||
                            std::find(fc.begin(), fc.end(), gc[2]) != fc.end();
        if (shared) return false;  // keep the two holes apart
        TopoMeshEdge t = e.twin();
        mesh.deleteFace(f);
        if (kind == 9) {
          mesh.deleteFace(g);
          mesh.splitEdge(e);
        } else {
          mesh.splitVertex(u, e);
        }
        mesh.mergeVertices(e, t);
        refill(fc);
        if (kind == 9) refill(gc);
        return true;
      }
      case 11: {  // open the face beyond e, contract e, close the two-sided gap left at w
        if (!mayShrink || !collapsible(e)) return false;
        mesh.deleteFace(e.twin().face());
        EXPECT_EQ(mesh.contractEdge(e), w);
        TopoMeshEdge x = openEdge(d, w), y = openEdge(w, d);
        EXPECT_TRUE(x && y);
        if (x && y) mesh.setTwins(x, y);
        return true;
      }
      case 12: {  // cut a corner triangle off e, then split the quad left behind
        if (!mayGrow) return false;
        TopoMeshFace f = e.face();
        TopoMeshVertex m = mesh.subdivideFace(f, e, f.centroid());
        mesh.subdivideFace(f, m, c);
        return true;
      }
      case 13: {  // split e at a valence-2 vertex and take it out again
        TopoMeshVertex v = mesh.subdivideEdge(e, u.point() + e.vector() * 0.25);
        mesh.deleteValenceTwoVertex(v);
        return true;
      }
      case 14: {  // merge two triangles, cut the quad by a chain through a new vertex, fan out
        if (!mayGrow) return false;
        TopoMeshFace f = e.face();
        mesh.deleteEdge(e);
        TopoMeshFace beyond =
            mesh.subdivideFace(f, u, w, {u.point() + (w.point() - u.point()) * 0.5});
        for (TopoMeshFace quad : {f, beyond}) {
          const Corners q = loop(quad);  // u, w, the new vertex m and c or d
          const auto m = std::find_if(q.begin(), q.end(), [&](TopoMeshVertex x) {
            return x != u && x != w && x != c && x != d;
          });
          mesh.subdivideFace(quad, *m, q[(m - q.begin() + 2) % 4]);
        }
        return true;
      }
      case 15: {  // cut u's fan along two of its edges into two vertices, then glue it back
        TopoMeshEdge out = e, in = e.prev().twin().prev();  // leaves u; arrives at u
        if (u.valence() < 4 || in.v2() != u || in.twin() == out || in.next() == out) return false;
        TopoMeshEdge outTwin = out.twin(), inTwin = in.twin();
        mesh.splitVertex(in, out);
        mesh.mergeVertices(in, inTwin);
        mesh.mergeVertices(out, outTwin);
        return true;
      }
      default:
        return false;
    }
  }
};

}  // namespace topofix
