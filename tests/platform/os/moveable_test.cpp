#include <kr/moveable.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <new>
#include <sstream>
#include <string>

namespace {

using Chunk = std::unique_ptr<krOS::MoveableChunk>;

// The /proc/self/maps line whose range contains p, or an empty string.
std::string mappingAt(const void* p) {
  const auto address = reinterpret_cast<std::uintptr_t>(p);
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::istringstream in(line);
    std::uintptr_t begin = 0, end = 0;
    char dash = 0;
    in >> std::hex >> begin >> dash >> end;
    if (address >= begin && address < end) return line;
  }
  return {};
}

bool mappedToMemoryFile(const void* p) {
  return mappingAt(p).find("memfd:krOS.moveable") != std::string::npos;
}

int openDescriptors() {
  int n = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    ++n;
  return n;
}

void fill(void* p, std::size_t n, unsigned seed) {
  auto* b = static_cast<unsigned char*>(p);
  for (std::size_t i = 0; i < n; ++i) b[i] = static_cast<unsigned char>(i * 31 + seed);
}

// Index of the first byte that differs from fill(), or n when all match.
std::size_t firstMismatch(const void* p, std::size_t n, unsigned seed) {
  const auto* b = static_cast<const unsigned char*>(p);
  for (std::size_t i = 0; i < n; ++i)
    if (b[i] != static_cast<unsigned char>(i * 31 + seed)) return i;
  return n;
}

constexpr std::size_t kBytes = 3 * 4096 + 17;  // spans a partial page

TEST(MoveableChunk, ContentsSurviveUnmapAndMap) {
  krOS::MoveableAllocator allocator;
  Chunk a(allocator.allocate(kBytes));
  Chunk b(allocator.allocate(100));
  EXPECT_EQ(a->size(), kBytes);
  EXPECT_FALSE(a->isMapped());
  EXPECT_EQ(a->address(), nullptr);

  auto* p = static_cast<unsigned char*>(a->map());
  ASSERT_NE(p, nullptr);
  EXPECT_TRUE(a->isMapped());
  EXPECT_EQ(a->address(), p);
  EXPECT_EQ(a->map(), p);  // mapping again keeps the address
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 4096, 0u);
  for (std::size_t i = 0; i < kBytes; ++i) ASSERT_EQ(p[i], 0) << "new chunks read as zero";

  fill(p, kBytes, 1);
  fill(b->map(), 100, 2);

  a->unmap();
  EXPECT_FALSE(a->isMapped());
  EXPECT_EQ(a->address(), nullptr);
  a->unmap();                                            // no effect
  EXPECT_EQ(firstMismatch(b->address(), 100, 2), 100u);  // the other chunk is untouched

  for (int cycle = 0; cycle < 5; ++cycle) {
    void* again = a->map();
    ASSERT_EQ(firstMismatch(again, kBytes, 1), kBytes) << "cycle " << cycle;
    a->unmap();
  }
}

TEST(MoveableChunk, UnmappedChunkHoldsNoAddressRange) {
  krOS::MoveableAllocator allocator;
  Chunk chunk(allocator.allocate(kBytes));
  void* p = chunk->map();
  EXPECT_TRUE(mappedToMemoryFile(p));
  EXPECT_TRUE(mappedToMemoryFile(static_cast<char*>(p) + kBytes - 1));
  chunk->unmap();
  EXPECT_FALSE(mappedToMemoryFile(p)) << mappingAt(p);
  EXPECT_FALSE(mappedToMemoryFile(static_cast<char*>(p) + kBytes - 1));
}

TEST(MoveableChunk, DeletionReleasesTheMappingAndTheFile) {
  krOS::MoveableAllocator allocator;
  const int descriptors = openDescriptors();
  auto* chunk = allocator.allocate(kBytes);
  EXPECT_EQ(openDescriptors(), descriptors + 1);
  EXPECT_EQ(allocator.numChunks(), 1u);
  void* p = chunk->map();
  delete chunk;  // while mapped
  EXPECT_FALSE(mappedToMemoryFile(p));
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_EQ(allocator.numChunks(), 0u);
}

TEST(MoveableChunk, MoveChangesTheAddressAndKeepsTheContents) {
  krOS::MoveableAllocator allocator;
  Chunk chunk(allocator.allocate(kBytes));

  // Mapped: the old range is released after the new one is made.
  void* first = chunk->map();
  fill(first, kBytes, 7);
  void* second = chunk->move();
  EXPECT_NE(second, first);
  EXPECT_EQ(chunk->address(), second);
  EXPECT_TRUE(chunk->isMapped());
  EXPECT_FALSE(mappedToMemoryFile(first));
  EXPECT_EQ(firstMismatch(second, kBytes, 7), kBytes);

  // Unmapped: the new mapping avoids the previous address even though it is free again.
  chunk->unmap();
  void* third = chunk->move();
  EXPECT_NE(third, second);
  EXPECT_TRUE(chunk->isMapped());
  EXPECT_EQ(firstMismatch(third, kBytes, 7), kBytes);
}

TEST(MoveableChunk, MoveOnMapGivesEveryMappingANewAddress) {
  krOS::MoveableAllocator allocator;
  allocator.setMoveOnMap(true);
  EXPECT_TRUE(allocator.moveOnMap());
  Chunk chunk(allocator.allocate(kBytes));
  void* previous = chunk->map();
  fill(previous, kBytes, 3);
  for (int cycle = 0; cycle < 20; ++cycle) {
    chunk->unmap();
    void* p = chunk->map();
    ASSERT_NE(p, previous) << "cycle " << cycle;
    ASSERT_EQ(firstMismatch(p, kBytes, 3), kBytes) << "cycle " << cycle;
    previous = p;
  }
}

TEST(MoveableChunk, ZeroByteChunkMapsToNull) {
  krOS::MoveableAllocator allocator;
  const int descriptors = openDescriptors();
  Chunk chunk(allocator.allocate(0));
  EXPECT_EQ(openDescriptors(), descriptors);  // no file behind it
  EXPECT_EQ(chunk->size(), 0u);
  EXPECT_EQ(chunk->map(), nullptr);
  EXPECT_TRUE(chunk->isMapped());
  EXPECT_EQ(chunk->move(), nullptr);
  chunk->unmap();
  EXPECT_FALSE(chunk->isMapped());
  EXPECT_EQ(allocator.numChunks(), 1u);
}

TEST(MoveableAllocator, CountsLiveChunks) {
  krOS::MoveableAllocator allocator;
  EXPECT_EQ(allocator.numChunks(), 0u);
  {
    Chunk a(allocator.allocate(10));
    Chunk b(allocator.allocate(0));
    EXPECT_EQ(allocator.numChunks(), 2u);
    krOS::MoveableAllocator other;
    Chunk c(other.allocate(10));
    EXPECT_EQ(allocator.numChunks(), 2u);
    EXPECT_EQ(other.numChunks(), 1u);
    a.reset();
    EXPECT_EQ(allocator.numChunks(), 1u);
  }
  EXPECT_EQ(allocator.numChunks(), 0u);
}

TEST(MoveableAllocator, ImpossibleSizesThrowBadAlloc) {
  krOS::MoveableAllocator allocator;
  const int descriptors = openDescriptors();
  EXPECT_THROW(allocator.allocate(std::numeric_limits<std::size_t>::max()), std::bad_alloc);
  EXPECT_THROW(allocator.allocate(std::size_t{1} << 60), std::bad_alloc);
  EXPECT_EQ(allocator.numChunks(), 0u);
  EXPECT_EQ(openDescriptors(), descriptors);  // no file left behind
}

}  // namespace
