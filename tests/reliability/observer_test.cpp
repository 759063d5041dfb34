// Observers that misbehave during a modification notice: one that throws, one that disconnects
// others, one that destroys the entity it observes, one that edits it again and sends a nested
// notice. Each on a CompactMesh and on a TopoMesh with a transaction log; run under
// AddressSanitizer, these also prove that no notice path touches a destroyed entity.
#include "meshes/mesh_fixtures.h"
#include "topo_fixtures.h"

#include <geom/geom.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace krGeom;
using krRTB::Connection;

// A mesh of either family behind one interface: send a notice, make an edit, check it.
struct Subject {
  virtual ~Subject() noexcept(false) = default;  // members hold references, which may throw
  virtual Entity* entity() = 0;
  virtual void notify() = 0;  // a topology notice through the mesh's modified()
  virtual void edit() = 0;    // a change of the kind the notice announces
  virtual ::testing::AssertionResult consistent() = 0;
  // Drops the subject's own reference; the entity lives on while observers hold it.
  virtual void release() = 0;
};

struct CompactSubject : Subject {
  kr::Reference<CompactMesh> mesh = mesh_fixtures::triangleMesh(6, {0, 1, 2, 3, 4, 5});
  CompactMesh* raw = mesh.get();  // still names the mesh after release()
  CompactSubject() { mesh->allocTriangleNormalArray(); }
  Entity* entity() override { return raw; }
  void notify() override {
    MeshModification n(raw, MeshModification::eTopologyModified);
    raw->modified(n);
  }
  void edit() override { mesh->resizeVertexArray(mesh->getNumVertices() + 3); }
  ::testing::AssertionResult consistent() override {
    if (mesh->getTriangleNormals())
      return ::testing::AssertionFailure() << "derived triangle normals survived the notice";
    if (!mesh->getVertices() || mesh->getVerticesAttr()->getNumElements() != mesh->getNumVertices())
      return ::testing::AssertionFailure() << "vertex count and array differ";
    return ::testing::AssertionSuccess();
  }
  void release() override { mesh = kr::Reference<CompactMesh>(); }
};

struct TopoSubject : Subject {
  kr::Reference<TopoMesh> mesh{new TopoMesh()};
  TopoMesh* raw = mesh.get();  // still names the mesh after release()
  kr::Reference<TopoMeshState> start;
  TopoSubject() {
    mesh->enableTransactions();
    topofix::buildOctahedron(*mesh);
    start = mesh->createState();
  }
  ~TopoSubject() noexcept(false) override { start = kr::Reference<TopoMeshState>(); }
  Entity* entity() override { return raw; }
  void notify() override {
    TopoMeshModification n(raw, TopoMeshModification::eTopologyModified);
    raw->modified(n);
  }
  void edit() override { mesh->subdivideFace(mesh->firstFace(), {0.2, 0.2, 0.2}); }
  ::testing::AssertionResult consistent() override {
    const krString::CString broken = mesh->findBrokenInvariant();
    if (!broken.empty()) return ::testing::AssertionFailure() << broken.c_str();
    kr::Reference<TopoMeshState> now = mesh->createState();
    mesh->setState(start);
    const bool back = mesh->numVertices() == 6;
    mesh->setState(now);
    if (!back) return ::testing::AssertionFailure() << "the saved state did not restore";
    return ::testing::AssertionSuccess();
  }
  void release() override {
    start = kr::Reference<TopoMeshState>();
    mesh = kr::Reference<TopoMesh>();
  }
};

template <class Test>
void forEachSubject(Test test) {
  {
    SCOPED_TRACE("CompactMesh");
    CompactSubject s;
    test(s);
  }
  {
    SCOPED_TRACE("TopoMesh");
    TopoSubject s;
    test(s);
  }
}

TEST(ObserverTest, AThrowingObserverEndsTheDeliveryAfterTheMeshIsConsistent) {
  forEachSubject([](Subject& s) {
    std::vector<char> heard;
    s.entity()->modifiedSignal.connect([&](EntityModification&) { heard.push_back('a'); });
    Connection thrower =
        s.entity()->modifiedSignal.connect([&](EntityModification&) { throw std::string("no"); });
    s.entity()->modifiedSignal.connect([&](EntityModification&) { heard.push_back('c'); });
    s.edit();
    EXPECT_THROW(s.notify(), std::string);
    EXPECT_EQ(heard, std::vector<char>{'a'});
    EXPECT_TRUE(s.consistent());
    thrower.disconnect();  // still usable: the next notice reaches everyone left
    s.edit();
    s.notify();
    EXPECT_EQ(heard, (std::vector<char>{'a', 'a', 'c'}));
    EXPECT_TRUE(s.consistent());
  });
}

TEST(ObserverTest, AnObserverThatDisconnectsOthersSilencesThemAtOnce) {
  forEachSubject([](Subject& s) {
    std::vector<char> heard;
    Connection first, later;
    first = s.entity()->modifiedSignal.connect([&](EntityModification&) { heard.push_back('a'); });
    s.entity()->modifiedSignal.connect([&](EntityModification&) {
      heard.push_back('b');
      first.disconnect();  // already notified
      later.disconnect();  // not yet: hears nothing
    });
    later = s.entity()->modifiedSignal.connect([&](EntityModification&) { heard.push_back('c'); });
    s.entity()->modifiedSignal.connect([&](EntityModification&) { heard.push_back('d'); });
    s.notify();
    s.notify();
    EXPECT_EQ(heard, (std::vector<char>{'a', 'b', 'd', 'b', 'd'}));
    EXPECT_EQ(s.entity()->modifiedSignal.numConnections(), 2);
  });
}

TEST(ObserverTest, AnObserverThatDestroysTheEntityEndsTheDelivery) {
  forEachSubject([](Subject& s) {
    const int base = numberOfActiveEntities();
    std::vector<char> heard;
    kr::Reference<Entity> last(s.entity());  // the observer's reference: soon the only one
    s.entity()->destroyedSignal.connect([&](const Entity*) { heard.push_back('x'); });
    s.entity()->modifiedSignal.connect([&](EntityModification&) {
      heard.push_back('a');
      last = kr::Reference<Entity>();  // the last reference goes: the mesh is destroyed here
      heard.push_back('b');
    });
    s.entity()->modifiedSignal.connect([&](EntityModification&) { heard.push_back('c'); });
    s.release();
    EXPECT_EQ(numberOfActiveEntities(), base);  // alive, held by `last`
    s.notify();
    EXPECT_EQ(heard, (std::vector<char>{'a', 'x', 'b'}));
    EXPECT_EQ(numberOfActiveEntities(), base - 1);
  });
}

TEST(ObserverTest, AnObserverThatEditsAgainSendsANestedNoticeThatEveryoneHearsFirst) {
  forEachSubject([](Subject& s) {
    std::vector<std::pair<char, int>> heard;  // observer, nesting depth
    int depth = 0;
    s.entity()->modifiedSignal.connect([&](EntityModification&) {
      heard.emplace_back('a', depth);
      if (depth++ == 0) {  // the nested notice comes back here too: edit only once
        s.edit();
        s.notify();
      }
      --depth;
    });
    s.entity()->modifiedSignal.connect(
        [&](EntityModification&) { heard.emplace_back('b', depth); });
    s.edit();
    s.notify();
    EXPECT_EQ(heard, (std::vector<std::pair<char, int>>{{'a', 0}, {'a', 1}, {'b', 1}, {'b', 0}}));
    EXPECT_TRUE(s.consistent());
  });
}

}  // namespace
