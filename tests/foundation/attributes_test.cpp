#include <geom/foundation/mesh_attributes.h>
#include <geom/foundation/moveable_array_allocator.h>
#include <kr/moveable.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace krGeom {
// Reaches the mesh-only constructor, destructor and allocator change.
struct MeshAttributesTestAccess {
  static MeshAttributes* make(const char* name, int dimension, int numElements,
                              kr::Reference<ArrayAllocator> allocator = nullptr) {
    return new MeshAttributes(name, dimension, numElements, std::move(allocator));
  }
  static MeshAttributes* copy(const MeshAttributes& a) { return new MeshAttributes(a); }
  static void destroy(MeshAttributes* a) { delete a; }
  static void setArrayAllocator(MeshAttributes& a, kr::Reference<ArrayAllocator> allocator) {
    a.setArrayAllocator(std::move(allocator));
  }
};
}  // namespace krGeom

namespace {

using krGeom::MeshAttributes;
using Access = krGeom::MeshAttributesTestAccess;

struct Destroy {
  void operator()(MeshAttributes* a) const { Access::destroy(a); }
};
using Attr = std::unique_ptr<MeshAttributes, Destroy>;

Attr make(const char* name, int dimension, int numElements,
          kr::Reference<krGeom::ArrayAllocator> allocator = nullptr) {
  return Attr(Access::make(name, dimension, numElements, std::move(allocator)));
}

// Fills the attribute's floats with `values` (which must match the float count).
void load(MeshAttributes& a, const std::vector<float>& values) {
  ASSERT_EQ(int(values.size()), a.getNumElements() * a.getDimension());
  a.copyArray(values.data());
}

std::vector<float> floats(const MeshAttributes& a) {
  const float* p = a.asFloat();
  return p ? std::vector<float>(p, p + a.getNumElements() * a.getDimension())
           : std::vector<float>();
}

// The bound of an invalid range: the largest finite float, widened exactly.
constexpr double kBig = std::numeric_limits<float>::max();

TEST(MeshAttributes, SizesFollowTheFloatCount) {
  Attr a = make("uvs", 2, 5);
  EXPECT_EQ(a->getName(), "uvs");
  EXPECT_EQ(a->getDimension(), 2);
  EXPECT_EQ(a->getNumElements(), 5);
  EXPECT_EQ(a->getSizeInBytes(), 4 * 5 * 2 + 88);
  EXPECT_TRUE(a->isStoreable());
  a->resize(7);  // floats, not elements
  EXPECT_EQ(a->getNumElements(), 3);
  EXPECT_EQ(a->getSizeInBytes(), 4 * 7 + 88);
  a->resize(0);
  EXPECT_EQ(a->getSizeInBytes(), 88);
}

TEST(MeshAttributes, RangeIsScannedOnceAndKeptUntilInvalidated) {
  Attr empty = make("vertices", 3, 0);
  krLinear::Range3d inverted = empty->getRange3();
  EXPECT_EQ(inverted.lower(), krLinear::Point(kBig, kBig, kBig));
  EXPECT_EQ(inverted.upper(), krLinear::Point(-kBig, -kBig, -kBig));

  const float nan = std::numeric_limits<float>::quiet_NaN();
  Attr a = make("vertices", 3, 3);
  load(*a, {nan, 1, 2, 4, -5, 6, -1, 3, nan});
  krLinear::Range3d r = a->getRange3();
  EXPECT_EQ(r.lower(), krLinear::Point(-1, -5, 2));
  EXPECT_EQ(r.upper(), krLinear::Point(4, 3, 6));

  a->asFloat()[0] = 100;  // data change without invalidation: the cache stands
  a->resize(6);           // so does a resize (to two elements)
  EXPECT_EQ(a->getRange3().upper(), krLinear::Point(4, 3, 6));
  a->invalidateRange();
  EXPECT_EQ(a->getRange3().lower(), krLinear::Point(4, -5, 2));
  EXPECT_EQ(a->getRange3().upper(), krLinear::Point(100, 1, 6));

  a->setRange3(krLinear::Range3d(0.1, 0.2, 0.3, 1.1, 1.2, 1.3));
  r = a->getRange3();
  EXPECT_EQ(r.lower(), krLinear::Point(double(0.1f), double(0.2f), double(0.3f)));
  EXPECT_EQ(r.upper(), krLinear::Point(double(1.1f), double(1.2f), double(1.3f)));

  load(*a, {1, 1, 1, 2, 2, 2});  // copyArray invalidates
  EXPECT_EQ(a->getRange3().lower(), krLinear::Point(1, 1, 1));
  EXPECT_EQ(a->getRange3().upper(), krLinear::Point(2, 2, 2));
}

TEST(MeshAttributes, OneAndTwoComponentRanges) {
  Attr one = make("weight", 1, 3);
  load(*one, {0.5f, -2, 7});
  EXPECT_EQ(one->getRange1(), krLinear::Range1d(-2, 7));
  Attr two = make("uvs", 2, 2);
  load(*two, {0, 1, 0.25f, -1});
  EXPECT_EQ(two->getRange2(), krLinear::Range2d({0, -1}, {0.25, 1}));
}

TEST(MeshAttributes, TypedViewsMatchTheDimension) {
  Attr uv = make("uvs", 2, 2);
  EXPECT_EQ(uv->asMeshVertex(), nullptr);
  EXPECT_EQ(uv->asMeshColour(), nullptr);
  EXPECT_EQ(uv->asFloat3(), nullptr);
  ASSERT_EQ(static_cast<void*>(uv->asMeshUV()), uv->asFloat());
  uv->asMeshUV()[1].set(3.f, 4.f);
  EXPECT_EQ(floats(*uv), (std::vector<float>{uv->asFloat()[0], uv->asFloat()[1], 3.f, 4.f}));
  const MeshAttributes& constUv = *uv;
  EXPECT_EQ(static_cast<const void*>(constUv.asFloat2()), uv->asFloat());

  EXPECT_NE(make("colours", 4, 1)->asFloat4(), nullptr);
  EXPECT_EQ(make("colours", 4, 1)->asFloat1(), nullptr);
  EXPECT_NE(make("normals", 3, 1)->asMeshNormal(), nullptr);
  Attr empty = make("vertices", 3, 0);
  EXPECT_EQ(empty->asFloat(), nullptr);
  EXPECT_EQ(empty->asMeshVertex(), nullptr);
}

class AttributesWithAllocator : public ::testing::Test {
 protected:
  krOS::MoveableAllocator pool;
  kr::Reference<krGeom::MoveableArrayAllocator> store{new krGeom::MoveableArrayAllocator(pool)};
};

TEST_F(AttributesWithAllocator, CopySharesTheAllocatorAssignmentKeepsItsOwn) {
  Attr a = make("normals", 3, 2, store);
  load(*a, {1, 2, 3, 4, 5, 6});
  a->setStoreable(false);
  a->getRange3();
  Attr copy(Access::copy(*a));
  EXPECT_EQ(copy->getArrayAllocator(), store);
  EXPECT_EQ(store->numBlocks(), 2u);
  EXPECT_EQ(floats(*copy), floats(*a));
  EXPECT_FALSE(copy->isStoreable());
  EXPECT_EQ(copy->getRange3().upper(), krLinear::Point(4, 5, 6));

  Attr heap = make("uvs", 2, 1);
  *heap = *a;
  EXPECT_EQ(heap->getArrayAllocator(), nullptr);
  EXPECT_EQ(heap->getName(), "normals");
  EXPECT_EQ(heap->getDimension(), 3);
  EXPECT_EQ(floats(*heap), floats(*a));
  EXPECT_EQ(heap->getRange3().lower(), krLinear::Point(1, 2, 3));
}

TEST_F(AttributesWithAllocator, SwapExchangesContentsAcrossAllocators) {
  Attr a = make("normals", 3, 2, store);
  load(*a, {1, 2, 3, 4, 5, 6});
  a->getRange3();
  Attr b = make("uvs", 2, 1);
  load(*b, {7, 8});
  b->setStoreable(false);
  a->swap(*b);
  EXPECT_EQ(a->getArrayAllocator(), store);
  EXPECT_EQ(b->getArrayAllocator(), nullptr);
  EXPECT_EQ(a->getName(), "uvs");
  EXPECT_EQ(a->getDimension(), 2);
  EXPECT_FALSE(a->isStoreable());
  EXPECT_EQ(floats(*a), (std::vector<float>{7, 8}));
  EXPECT_EQ(b->getName(), "normals");
  EXPECT_EQ(floats(*b), (std::vector<float>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(b->getRange3().upper(), krLinear::Point(4, 5, 6));  // the range moved with it
  EXPECT_EQ(a->getRange2(), krLinear::Range2d({7, 8}, {7, 8}));
}

TEST_F(AttributesWithAllocator, AllocatorChangeIsCleanOnlyWhenEmpty) {
  Attr empty = make("vertices", 3, 0);
  Access::setArrayAllocator(*empty, store);
  empty->resize(3);
  load(*empty, {1, 2, 3});
  EXPECT_EQ(empty->getArrayAllocator(), store);
  EXPECT_EQ(floats(*empty), (std::vector<float>{1, 2, 3}));

  Attr full = make("vertices", 3, 1);
  load(*full, {1, 2, 3});
  Access::setArrayAllocator(*full, store);
  EXPECT_EQ(full->getNumElements(), 1);
  EXPECT_EQ(full->asFloat(), nullptr);  // must be resized and refilled
}

TEST(MeshRecords, ConversionsRoundToNearestAndNeverNormalise) {
  krGeom::MeshVertex v{};
  const double xyz[3] = {0.1, -1e-3, 3.0};
  v.set(xyz);
  EXPECT_EQ(v.asPoint(), krLinear::Point(double(0.1f), double(-1e-3f), 3.0));
  krGeom::MeshNormal n{};
  n.set(0.f, 0.f, 2.f);
  EXPECT_EQ(n.asVector(), krLinear::Vector(0, 0, 2));
  krGeom::MeshUV uv{};
  uv.set(0.7, 0.9);
  EXPECT_EQ(uv.v, 0.9f);
}

TEST(MeshRecords, StandardNames) {
  EXPECT_EQ(krGeom::verticesAttributeName(), "vertices");
  EXPECT_EQ(krGeom::normalsAttributeName(), "normals");
  EXPECT_EQ(krGeom::uvsAttributeName(), "uvs");
  EXPECT_EQ(krGeom::stsAttributeName(), "sts");
  EXPECT_EQ(krGeom::coloursAttributeName(), "colours");
}

}  // namespace
