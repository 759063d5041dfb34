#include <geom/foundation/mesh_attributes.h>
#include <geom/foundation/moveable_array_allocator.h>
#include <kr/moveable.h>

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

namespace krGeom {
// Reaches the mesh-only constructor and, as a deleter, the destructor.
struct MeshAttributesTestAccess {
  static MeshAttributes* make(int dimension, int numElements, kr::Reference<ArrayAllocator> a) {
    return new MeshAttributes("attr", dimension, numElements, std::move(a));
  }
  void operator()(MeshAttributes* a) const { delete a; }
};
}  // namespace krGeom

namespace {

using krGeom::MeshAttributes;
using krLinear::Point;
using krLinear::Range3d;
using Access = krGeom::MeshAttributesTestAccess;
using Attr = std::unique_ptr<MeshAttributes, Access>;
using Floats = std::vector<float>;

// An attribute holding `values` (numElements x dimension of them).
Attr make(int dimension, const Floats& values, kr::Reference<krGeom::ArrayAllocator> a = nullptr) {
  Attr attr(Access::make(dimension, int(values.size()) / dimension, std::move(a)));
  if (!values.empty()) attr->copyArray(values.data());
  return attr;
}
Floats floats(const MeshAttributes& a) {
  return Floats(a.asFloat(), a.asFloat() + a.getNumElements() * a.getDimension());
}

TEST(MeshAttributes, SizesCountFloatsAndViewsMatchTheDimension) {
  Attr a = make(2, Floats(10));
  a->resize(7);  // floats, not elements
  EXPECT_EQ(a->getNumElements(), 3);
  EXPECT_EQ(a->getSizeInBytes(), 4 * 7 + 88);
  EXPECT_EQ(a->asMeshVertex(), nullptr);
}

TEST(MeshAttributes, RangeIsScannedOnceAndKeptUntilInvalidated) {
  constexpr double kBig = std::numeric_limits<float>::max();
  EXPECT_EQ(make(3, {})->getRange3(), Range3d(kBig, kBig, kBig, -kBig, -kBig, -kBig));

  const float nan = std::numeric_limits<float>::quiet_NaN();
  Attr a = make(3, {nan, 1, 2, 4, -5, 6, -1, 3, nan});
  EXPECT_EQ(a->getRange3(), Range3d(-1, -5, 2, 4, 3, 6));
  a->asFloat()[0] = 100;  // data change without invalidation: the cache stands
  a->resize(6);           // so does a resize (to two elements)
  EXPECT_EQ(a->getRange3(), Range3d(-1, -5, 2, 4, 3, 6));
  a->invalidateRange();
  EXPECT_EQ(a->getRange3(), Range3d(4, -5, 2, 100, 1, 6));

  a->setRange3(Range3d(0.1, 0.2, 0.3, 1.1, 1.2, 1.3));
  EXPECT_EQ(a->getRange3().lower(), Point(double(0.1f), double(0.2f), double(0.3f)));
  const Floats ones = {1, 1, 1, 1, 1, 1};
  a->copyArray(ones.data());  // invalidates
  EXPECT_EQ(a->getRange3(), Range3d(1, 1, 1, 1, 1, 1));

  EXPECT_EQ(make(1, {0.5f, -2, 7})->getRange1(), krLinear::Range1d(-2, 7));
  EXPECT_EQ(make(2, {0, 1, 0.25f, -1})->getRange2(), krLinear::Range2d({0, -1}, {0.25, 1}));
}

TEST(MeshAttributes, CopyAssignmentAndSwapKeepTheirAllocators) {
  krOS::MoveableAllocator pool;
  kr::Reference<krGeom::MoveableArrayAllocator> store(new krGeom::MoveableArrayAllocator(pool));
  Attr a = make(3, {1, 2, 3, 4, 5, 6}, store);
  a->setRange3(Range3d(0, 0, 0, 9, 9, 9));  // a cached range no scan would give
  Attr copy(new MeshAttributes(*a));        // shares the allocator under its own key
  EXPECT_EQ(copy->getArrayAllocator(), store);
  EXPECT_EQ(copy->getRange3().upper(), Point(9, 9, 9));

  Attr heap = make(2, {7, 8});
  *copy = *heap;  // keeps its own allocator
  EXPECT_EQ(copy->getArrayAllocator(), store);
  EXPECT_EQ(floats(*copy), (Floats{7, 8}));

  heap->swap(*a);  // contents and range move, allocators stay
  EXPECT_EQ(a->getArrayAllocator(), store);
  EXPECT_EQ(floats(*heap), (Floats{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(heap->getRange3().upper(), Point(9, 9, 9));
  EXPECT_EQ(floats(*a), (Floats{7, 8}));
}

}  // namespace
