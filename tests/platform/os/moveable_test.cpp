#include <kr/moveable.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Chunk = std::unique_ptr<krOS::MoveableChunk>;
constexpr std::size_t kBytes = 3 * 4096 + 17;  // ends in a partial page

// True when p lies in a mapping of a chunk's memory file, according to /proc/self/maps.
bool inMemoryFile(const void* p) {
  const auto address = reinterpret_cast<std::uintptr_t>(p);
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t begin = 0, end = 0;
    std::sscanf(line.c_str(), "%" SCNxPTR "-%" SCNxPTR, &begin, &end);
    if (address >= begin && address < end) return line.find("memfd:krOS.moveable") != line.npos;
  }
  return false;
}

long openDescriptors() {
  std::filesystem::directory_iterator fds("/proc/self/fd");
  return std::distance(begin(fds), end(fds));
}

// Bytes that differ from page to page, so that misplaced pages show.
const std::vector<unsigned char> kPattern = [] {
  std::vector<unsigned char> b(kBytes);
  for (std::size_t i = 0; i < kBytes; ++i) b[i] = static_cast<unsigned char>(i * 31 + i / 4096);
  return b;
}();

TEST(MoveableChunk, ContentsSurviveUnmapAndDeletionReleasesEverything) {
  krOS::MoveableAllocator allocator;
  const long descriptors = openDescriptors();
  EXPECT_THROW(allocator.allocate(~std::size_t{0}), std::bad_alloc);
  EXPECT_THROW(allocator.allocate(std::size_t{1} << 60), std::bad_alloc);
  Chunk empty(allocator.allocate(0));  // no file behind it
  EXPECT_EQ(empty->map(), nullptr);
  EXPECT_EQ(empty->move(), nullptr);

  Chunk chunk(allocator.allocate(kBytes));
  auto* p = static_cast<unsigned char*>(chunk->map());
  EXPECT_EQ(chunk->map(), p);  // mapping again keeps the address
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 4096, 0u);
  EXPECT_EQ(std::count(p, p + kBytes, 0), static_cast<long>(kBytes));  // new chunks read as zero
  std::memcpy(p, kPattern.data(), kBytes);
  EXPECT_TRUE(inMemoryFile(p + kBytes - 1));
  chunk->unmap();  // releases the whole range
  EXPECT_FALSE(inMemoryFile(p + kBytes - 1));
  p = static_cast<unsigned char*>(chunk->map());
  EXPECT_EQ(std::memcmp(p, kPattern.data(), kBytes), 0);
  chunk.reset();  // while mapped
  EXPECT_FALSE(inMemoryFile(p));
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_EQ(allocator.numChunks(), 1u);
}

TEST(MoveableChunk, MovesChangeTheAddressAndKeepTheContents) {
  krOS::MoveableAllocator allocator;
  Chunk chunk(allocator.allocate(kBytes));
  void* previous = chunk->map();
  std::memcpy(previous, kPattern.data(), kBytes);
  void* p = chunk->move();
  EXPECT_NE(p, previous);
  EXPECT_FALSE(inMemoryFile(previous));  // the old range is released
  EXPECT_EQ(std::memcmp(p, kPattern.data(), kBytes), 0);

  // Unmapped: the new mapping avoids the previous address even though it is free again.
  chunk->unmap();
  previous = std::exchange(p, chunk->move());
  EXPECT_NE(p, previous);
  EXPECT_EQ(std::memcmp(p, kPattern.data(), kBytes), 0);

  allocator.setMoveOnMap(true);
  for (int cycle = 0; cycle < 10; ++cycle) {
    chunk->unmap();
    previous = std::exchange(p, chunk->map());
    ASSERT_NE(p, previous) << "cycle " << cycle;
    ASSERT_EQ(std::memcmp(p, kPattern.data(), kBytes), 0) << "cycle " << cycle;
  }
}

}  // namespace
