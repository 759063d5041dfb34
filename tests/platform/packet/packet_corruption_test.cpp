// Damaged streams: every truncation, every byte overwritten, and bodies altered behind a valid
// checksum. Each read must return a status, never crash, and leave no object behind.
#include "packet_test_support.h"

#include "crc32c.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <set>

namespace {

using namespace packet_test;

// Nodes with pointers both ways, a sub-packet in an extra chunk, and an unknown packet.
std::vector<std::uint8_t> sampleStream() {
  Node a, b;
  ioWriteContext out;
  writeNode(out, &a, 1, &b, {1.f, 2.f, 3.f});
  out.startPacket("other", nullptr);
  out.writeDouble(4.0);
  out.endPacket();
  out.startPacket("node", &b);
  out.writeInt(2);
  out.writePointer(&a, 0);
  out.writeInt(1);
  out.writeFloats(std::vector<float>{5.f}.data(), 1);
  out.startChunk();
  out.startSubPacket();
  out.writeInt(7);
  out.startSubPacket();
  out.writeBool(true);
  out.endSubPacket();
  out.endSubPacket();
  out.endPacket();
  return finish(out);
}

// Reads data with node types (the second reading into sub-packets); returns the status and
// checks that every object was accounted for.
ioStatus readSample(const std::vector<std::uint8_t>& data) {
  ioPacketRegistry registry;
  auto* nodes = add(registry, new NodeType("node", "node"));
  registry.supportedType(new ProbeType("other", [](ioReadContext& in) {
    in.readDouble();
    if (in.nextChunk()) {
      in.startSubPacket();
      in.startSubPacket();
      in.readBool();
      in.endSubPacket();
      in.endSubPacket();
    }
  }));
  ioStatus s;
  std::vector<void*> roots;
  {
    ioReadContext in(registry);
    s = in.readBuffer(data.data(), data.size());
    roots = in.takeObjects("node");
  }
  // Every node still alive is a root or reachable from one, through pointers to live nodes.
  std::set<Node*> owned;
  for (void* root : roots) {
    for (auto* n = static_cast<Node*>(root); n && owned.insert(n).second;
         n = static_cast<Node*>(n->next))
      EXPECT_TRUE(nodes->alive.count(n)) << "dangling pointer field";
  }
  EXPECT_EQ(owned, nodes->alive);
  return s;
}

// Start offsets and sizes (without the checksum) of the packets of a stream.
std::vector<std::pair<std::size_t, std::size_t>> packets(const std::vector<std::uint8_t>& s) {
  std::vector<std::pair<std::size_t, std::size_t>> out;
  for (std::size_t pos = 12; pos < s.size();) {
    std::size_t header = 1 + s[pos] + 12;
    std::uint64_t body;
    std::memcpy(&body, &s[pos + 1 + s[pos] + 4], 8);
    out.emplace_back(pos, header + body);
    pos += header + body + 4;
  }
  return out;
}

TEST(PacketCorruption, SampleStreamReads) {
  auto data = sampleStream();
  ioStatus s = readSample(data);
  EXPECT_TRUE(s.ok()) << s.message();
}

TEST(PacketCorruption, EveryTruncationFails) {
  auto data = sampleStream();
  for (std::size_t n = 0; n < data.size(); ++n) {
    std::vector<std::uint8_t> cut(data.begin(), data.begin() + static_cast<long>(n));
    ioStatus s = readSample(cut);
    EXPECT_FALSE(s.ok()) << n;
    EXPECT_LE(s.offset(), n) << n;
  }
}

TEST(PacketCorruption, EveryOverwrittenByteFails) {
  const auto data = sampleStream();
  for (std::size_t i = 0; i < data.size(); ++i) {
    for (int v : {0x00, 0xFF, 0x7F, 0x80, data[i] ^ 1}) {
      if (v == data[i]) continue;
      auto bad = data;
      bad[i] = static_cast<std::uint8_t>(v);
      ioStatus s = readSample(bad);
      EXPECT_FALSE(s.ok()) << "byte " << i << " set to " << v;
      EXPECT_NE(s.message()[0], '\0');
    }
  }
}

// The same overwrites inside packets, with the checksum recomputed, exercise every check behind
// it: lengths, counts, references, bools. Such reads may succeed, but must end cleanly.
TEST(PacketCorruption, AlteredBodiesBehindValidChecksumsEndCleanly) {
  const auto data = sampleStream();
  int failures = 0;
  for (auto [start, size] : packets(data)) {
    for (std::size_t i = start; i < start + size; ++i) {
      for (int v : {0x00, 0xFF, 0x7F, 0x80, data[i] ^ 1}) {
        if (v == data[i]) continue;
        auto bad = data;
        bad[i] = static_cast<std::uint8_t>(v);
        std::uint32_t crc = krPacket::crc32c(0, &bad[start], size);
        std::memcpy(&bad[start + size], &crc, 4);
        failures += !readSample(bad).ok();
      }
    }
  }
  EXPECT_GT(failures, 0);

  // Then several random edits at once in one packet, from a fixed generator state.
  std::mt19937 rng(7);
  auto spans = packets(data);
  for (int trial = 0; trial < 3000; ++trial) {
    auto bad = data;
    auto [start, size] = spans[rng() % spans.size()];
    for (int k = 1 + static_cast<int>(rng() % 4); k > 0; --k)
      bad[start + rng() % size] = static_cast<std::uint8_t>(rng());
    std::uint32_t crc = krPacket::crc32c(0, &bad[start], size);
    std::memcpy(&bad[start + size], &crc, 4);
    readSample(bad);
  }
}

TEST(PacketCorruption, GarbageAndEmptyInputFail) {
  EXPECT_FALSE(readSample({}).ok());
  std::vector<std::uint8_t> junk(100, 0xAB);
  EXPECT_TRUE(std::string(readSample(junk).message()).find("bad magic") != std::string::npos);
  auto data = sampleStream();
  data[8] = 2;
  EXPECT_TRUE(std::string(readSample(data).message()).find("version 2") != std::string::npos);
  ioPacketRegistry registry;
  ioReadContext in(registry);
  EXPECT_FALSE(in.readBuffer(nullptr, 5).ok());
}

}  // namespace
