// MeshBoundaries: loops read back through starts and ends, extraction (also into its own
// sequence), copies and the size formula.
#include <geom/geom.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using krGeom::MeshBoundaries;

// Two holes: loops 0-1-2-3 and 7-8-9.
void fillTwoHoles(MeshBoundaries& b) {
  const int indices[7] = {0, 1, 2, 3, 7, 8, 9};
  b.getSequence().resize(7, 2);
  std::copy(indices, indices + 7, b.getSequence().getPoints());
  b.getSequence().getLengths()[0] = 4;
  b.getSequence().getLengths()[1] = 3;
}

TEST(MeshBoundariesTest, LoopsExtractAndCopy) {
  MeshBoundaries b;
  EXPECT_EQ(b.size(), 0);
  EXPECT_EQ(b.numBytesUsed(), 0);
  fillTwoHoles(b);
  ASSERT_EQ(b.size(), 2);
  EXPECT_EQ(std::vector<int>(b.getStart(1), b.getEnd(1)), (std::vector<int>{7, 8, 9}));
  EXPECT_EQ(b.getEnd(0), b.getStart(1));
  // Indices, lengths and two 8-byte start pointers, once the starts exist.
  EXPECT_EQ(b.numBytesUsed(),
            4 * (7 + 2 + 2 * b.getSequence().getNumStarts() + b.getSequence().getNumOffsets()));
  EXPECT_EQ(b.getSequence().getNumStarts(), 2);

  krGeom::MeshSequence one;
  b.extract(0, one);
  EXPECT_EQ(one.getNumSequences(), 1);
  EXPECT_EQ(one.getLength(0), 4);
  EXPECT_EQ(std::vector<int>(one.getPoints(), one.getPoints() + 4), (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(one.getNumStarts(), 0);

  MeshBoundaries copy(b);
  MeshBoundaries assigned;
  assigned = b;
  assigned = assigned;
  b.extract(1, b.getSequence());  // into its own sequence
  EXPECT_EQ(b.size(), 1);
  EXPECT_EQ(std::vector<int>(b.getStart(0), b.getEnd(0)), (std::vector<int>{7, 8, 9}));
  EXPECT_EQ(copy.size(), 2);
  EXPECT_EQ(*assigned.getStart(1), 7);
  copy.swap(b);
  EXPECT_EQ(copy.size(), 1);
  EXPECT_EQ(b.getLength(0), 4);
}

}  // namespace
