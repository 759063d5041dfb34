// Allocation failures in the triangle-mesh family: building and resizing a CompactMesh and its
// attributes (on the heap and in moveable memory), copies and assignment, ArrayOfSets builders
// and Remap composition. Each failure must leave the state the header promises.
#include "allocation_sweep.h"
#include "meshes/mesh_fixtures.h"

#include <geom/geom.h>
#include <kr/moveable.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace krGeom;
using namespace krGeom::mesh_fixtures;
using failalloc::Outcome;
using failalloc::runFailing;
using failalloc::sweep;
using Mesh = kr::Reference<CompactMesh>;

template <class T>
void addBytes(std::string& out, const T* p, int n) {
  out += std::to_string(n) + ":";
  if (p && n > 0) out.append(reinterpret_cast<const char*>(p), sizeof(T) * std::size_t(n));
}

// Every count and every byte of a mesh's arrays.
std::string picture(const CompactMesh& m) {
  std::string out = std::to_string(m.getNumVertices()) + "v";
  for (int i = 0; i < m.getNumAttributes(); ++i) {
    const MeshAttributes* a = m.getAttributes(i);
    out += a->getName().str();
    addBytes(out, a->asFloat(), a->getNumElements() * a->getDimension());
  }
  addBytes(out, m.getTrianglesRaw(), 3 * m.getNumTriangles());
  addBytes(out, m.getTriangleNormalsRaw(), m.getTriangleNormals() ? 3 * m.getNumTriangles() : 0);
  addBytes(out, m.getLines(), m.getNumLines());
  for (const MeshSequence* s :
       {&m.getTriStrips(), &m.getTriFans(), &m.getLineStrips(), &m.getPolys()}) {
    addBytes(out, s->getPoints(), s->getNumPoints());
    addBytes(out, s->getLengths(), s->getNumSequences());
  }
  return out;
}

// The structural promise every mesh keeps: each attribute holds one element per vertex, and
// triangle normals, when present, one per triangle.
::testing::AssertionResult consistent(const CompactMesh& m) {
  for (int i = 0; i < m.getNumAttributes(); ++i)
    if (m.getAttributes(i)->getNumElements() != m.getNumVertices())
      return ::testing::AssertionFailure() << "attribute " << i << " has another size";
  if (m.getNumAttributes() > 0 && !m.getVerticesAttr())
    return ::testing::AssertionFailure() << "attributes without vertices";
  if (m.getTriangleNormals() && m.getTriangleNormalsRaw() == nullptr)
    return ::testing::AssertionFailure() << "triangle normals lost";
  return ::testing::AssertionSuccess();
}

// A mesh with every kind of array filled with distinct values.
Mesh fullMesh(kr::Reference<ArrayAllocator> allocator = nullptr) {
  Mesh m = triangleMesh(12, {0, 1, 2, 2, 3, 4, 4, 5, 6, 6, 7, 8}, allocator);
  m->allocNormalArray();
  m->allocUVArray();
  m->allocColourArray();
  MeshAttributes* t = m->allocAttributes("temperature", 1);
  for (int i = 0; i < 12; ++i) {
    m->getNormals()[i].set(0, 0, 1);
    m->getUVs()[i].set(0.5f * i, 1);
    m->getColours()[i].set(1, 0, 0, 1);
    t->asFloat()[i] = 20.0f + i;
  }
  m->allocTriangleNormalArray();
  for (int i = 0; i < 12; ++i) m->getTriangleNormalsRaw()[i] = float(i);
  m->resizeLineArray(2);
  for (int i = 0; i < 4; ++i) reinterpret_cast<int*>(m->getLines())[i] = i;
  fillSequences(m->getTriStrips(), {0, 1, 2, 3, 4}, {5});
  fillSequences(m->getPolys(), {0, 1, 2, 3, 4, 5, 6}, {3, 4});
  return m;
}

struct Storage {
  const char* name;
  bool moveable;
};
const Storage kStorages[] = {{"heap", false}, {"moveable memory", true}};

// Memory for meshes in moveable memory; outlives them.
struct MoveableStore {
  krOS::MoveableAllocator chunks;
  kr::Reference<ArrayAllocator> allocator{new MoveableArrayAllocator(chunks)};
  MoveableStore() { static_cast<MoveableArrayAllocator&>(*allocator).map(); }
};

// An edit, and the state it may fall back to in moveable memory, whose blocks cannot shrink in
// place: a shrink there cannot be undone, so the header documents emptying instead.
struct MeshEdit {
  const char* name;
  std::function<void(CompactMesh&)> edit;
  std::function<bool(const CompactMesh&)> fallback;
};
bool noVertices(const CompactMesh& m) {
  return m.getNumVertices() == 0 && m.getNumAttributes() == 0;
}
bool noTriangles(const CompactMesh& m) {
  return m.getNumTriangles() == 0;
}
bool noTriStrips(const CompactMesh& m) {
  return m.getTriStrips().getNumPoints() == 0 && m.getNumTriStrips() == 0;
}
bool noPolys(const CompactMesh& m) {
  return m.getPolys().getNumPoints() == 0 && m.getNumPolys() == 0;
}
bool never(const CompactMesh&) {
  return false;
}

TEST(MeshAllocationTest, ResizesAreAllOrNothing) {
  const MeshEdit edits[] = {
      {"resizeVertexArray (grow)", [](CompactMesh& m) { m.resizeVertexArray(40); }, noVertices},
      {"resizeVertexArray (shrink)", [](CompactMesh& m) { m.resizeVertexArray(5); }, noVertices},
      {"copyVertices",
       [](CompactMesh& m) { m.copyVertices(30, std::vector<MeshVertex>(30).data()); }, noVertices},
      {"resizeTriangleArray (grow)", [](CompactMesh& m) { m.resizeTriangleArray(9); }, noTriangles},
      {"resizeTriangleArray (shrink)", [](CompactMesh& m) { m.resizeTriangleArray(2); },
       noTriangles},
      {"copyTriangles", [](CompactMesh& m) { m.copyTriangles(3, std::vector<int>(9, 1).data()); },
       noTriangles},
      {"resizeLineArray", [](CompactMesh& m) { m.resizeLineArray(8); }, never},
      {"allocSTArray", [](CompactMesh& m) { m.allocSTArray(); }, never},
      {"allocAttributes", [](CompactMesh& m) { m.allocAttributes("pressure", 2); }, never},
      {"resizeTriStripArrays", [](CompactMesh& m) { m.resizeTriStripArrays(9, 3); }, noTriStrips},
      {"resizePolyArrays (more points, fewer polygons)",
       [](CompactMesh& m) { m.resizePolyArrays(12, 1); }, noPolys},
      {"resizePolyArrays (fewer points, more polygons)",
       [](CompactMesh& m) { m.resizePolyArrays(4, 3); }, noPolys},
  };
  for (const Storage& storage : kStorages) {
    for (const MeshEdit& e : edits) {
      sweep(std::string("CompactMesh::") + e.name + " (" + storage.name + ")", [&](long n) {
        MoveableStore store;
        Mesh m = fullMesh(storage.moveable ? store.allocator : nullptr);
        const std::string before = picture(*m);
        const Outcome o = runFailing(n, [&] { e.edit(*m); });
        EXPECT_TRUE(consistent(*m));
        if (o.threw) {
          if (!storage.moveable || !e.fallback(*m)) {
            EXPECT_EQ(picture(*m), before);
          }
          e.edit(*m);  // usable: the edit now succeeds
          EXPECT_TRUE(consistent(*m));
        }
        return o;
      });
    }
  }
}

TEST(MeshAllocationTest, BuildingCopyingAndAssigningLeakNothing) {
  for (const Storage& storage : kStorages) {
    const std::string where = std::string(" (") + storage.name + ")";
    sweep("CompactMesh build" + where, [&](long n) {
      MoveableStore store;
      return runFailing(n, [&] {
        Mesh m = fullMesh(storage.moveable ? store.allocator : nullptr);
        m->setArrayAllocator(nullptr);  // out of moveable memory again (contents go)
      });
    });
    sweep("CompactMesh copy constructor" + where, [&](long n) {
      MoveableStore store;
      Mesh source = fullMesh(storage.moveable ? store.allocator : nullptr);
      const std::string before = picture(*source);
      const Outcome o = runFailing(n, [&] { Mesh copy(new CompactMesh(*source)); });
      EXPECT_EQ(picture(*source), before);
      return o;
    });
    sweep("CompactMesh::operator=" + where, [&](long n) {
      MoveableStore store;
      Mesh source = fullMesh();
      Mesh target = triangleMesh(3, {0, 1, 2}, storage.moveable ? store.allocator : nullptr);
      const Outcome o = runFailing(n, [&] { *target = *source; });
      EXPECT_TRUE(consistent(*target));
      if (o.threw) {  // left empty, and usable
        EXPECT_EQ(target->getNumVertices(), 0);
        EXPECT_EQ(target->getNumAttributes(), 0);
        EXPECT_EQ(target->getNumTriangles(), 0);
        EXPECT_EQ(target->getNumTriStrips(), 0);
        *target = *source;
      }
      EXPECT_EQ(picture(*target), picture(*source));
      return o;
    });
  }
}

// Random (set, member) pairs: a small table, and one large and scattered enough for the banded
// sort with its scratch memory.
std::vector<int> randomPairs(int numPairs, int numSets) {
  std::mt19937 rng(numPairs);
  std::vector<int> pairs(2 * static_cast<std::size_t>(numPairs));
  for (int p = 0; p < numPairs; ++p) {
    pairs[2 * p] = static_cast<int>(rng() % numSets);
    pairs[2 * p + 1] = static_cast<int>(rng() % 1000);
  }
  return pairs;
}

std::vector<int> contents(const ArrayOfSets& t) {
  std::vector<int> out(t.getOffsets().begin(), t.getOffsets().end());
  out.push_back(-1);
  out.insert(out.end(), t.getSets().begin(), t.getSets().end());
  return out;
}

TEST(MeshAllocationTest, ArrayOfSetsBuildersLeaveAFullOrAnEmptyTable) {
  for (const auto& [numPairs, numSets] : {std::pair(40, 7), std::pair(1 << 18, 1 << 17)}) {
    const std::vector<int> pairs = randomPairs(numPairs, numSets);
    ArrayOfSets expected, expectedInverse;
    expected.assignFromPairs(numSets, numPairs, pairs.data());
    expectedInverse.assignInverse(1000, expected);
    const std::string size = " (" + std::to_string(numPairs) + " pairs)";
    sweep("ArrayOfSets::assignFromPairs" + size, [&](long n) {
      ArrayOfSets table;
      table.assignFromPairs(3, 4, std::vector<int>{0, 1, 2, 3, 0, 5, 1, 7}.data());
      const Outcome o =
          runFailing(n, [&] { table.assignFromPairs(numSets, numPairs, pairs.data()); });
      if (o.threw) {
        EXPECT_EQ(table.getNumSets(), 0);
        EXPECT_EQ(table.getSets().size(), 0);
        table.assignFromPairs(numSets, numPairs, pairs.data());
      }
      EXPECT_EQ(contents(table), contents(expected));
      return o;
    });
    sweep("ArrayOfSets::assignInverse" + size, [&](long n) {
      ArrayOfSets table(expected);
      const Outcome o = runFailing(n, [&] { table.assignInverse(1000, table); });
      if (o.threw) {
        EXPECT_EQ(table.getNumSets(), 0);
        EXPECT_EQ(table.getSets().size(), 0);
        table.assignInverse(1000, expected);
      }
      EXPECT_EQ(contents(table), contents(expectedInverse));
      return o;
    });
  }
}

TEST(MeshAllocationTest, RemapCompositionIsAllOrNothing) {
  Remap first(50, 30), second(30, 20);
  for (int i = 0; i < 50; ++i) first.set(i, i % 3 == 0 ? -1 : i % 30);
  for (int i = 0; i < 30; ++i) second.set(i, i % 20);
  for (bool inPlace : {false, true}) {
    sweep(inPlace ? "Remap::compose (onto its first map)" : "Remap::compose", [&](long n) {
      Remap out(4, 4);
      out.setSequential();
      if (inPlace) out = first;
      const std::vector<int> before(out.get(), out.get() + out.getDomainSize());
      const Outcome o = runFailing(n, [&] { out.compose(inPlace ? out : first, second); });
      if (o.threw) {
        EXPECT_EQ(std::vector<int>(out.get(), out.get() + out.getDomainSize()), before);
      } else {
        EXPECT_EQ(out.getDomainSize(), 50);
        EXPECT_EQ(out(1), 1);
        EXPECT_EQ(out(0), -1);
      }
      return o;
    });
  }
}

}  // namespace
