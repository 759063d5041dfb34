#include "packet_test_support.h"

#include "crc32c.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

namespace {

using namespace packet_test;

// Reads buf with one probe type named "p" running read.
ioStatus readWith(const std::vector<std::uint8_t>& buf, std::function<void(ioReadContext&)> read,
                  int* reads = nullptr) {
  ioPacketRegistry registry;
  ProbeType* probe = add(registry, new ProbeType("p", std::move(read)));
  ioReadContext in(registry);
  ioStatus s = in.readBuffer(buf.data(), buf.size());
  if (reads) *reads = probe->reads;
  return s;
}

template <typename T, typename U>
T bits(U v) {
  return std::bit_cast<T>(v);
}

TEST(PacketValues, PrimitivesRoundTripBitExact) {
  const double doubles[] = {0.0,
                            -0.0,
                            1.5,
                            std::numeric_limits<double>::infinity(),
                            -std::numeric_limits<double>::infinity(),
                            std::numeric_limits<double>::denorm_min(),
                            bits<double>(std::uint64_t{0x7FF8000000000123}),   // NaN payload
                            bits<double>(std::uint64_t{0xFFF0000000000001})};  // signalling NaN
  const float floats[] = {-0.0f, std::numeric_limits<float>::denorm_min(),
                          std::numeric_limits<float>::infinity(), bits<float>(0x7FC00ABCu), 3.25f};
  const int ints[] = {0, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};

  ioWriteContext out;
  out.startPacket("p", nullptr);
  for (double d : doubles) out.writeDouble(d);
  for (float f : floats) out.writeFloat(f);
  for (int i : ints) out.writeInt(i);
  out.writeBool(true);
  out.writeBool(false);
  out.writeDoubles(doubles, 8);
  out.writeFloats(floats, 5);
  out.writeInts(ints, 4);
  out.writeInts(nullptr, 0);
  out.writeReference(77, 0);
  krLinear::writeTuple2(out, krLinear::Tuple2(-0.0, 2.5));
  krLinear::AffineMatrix m = krLinear::AffineMatrix::scaling(2, 3, 4);
  m(3, 1) = -7.0;
  krLinear::writeAffineMatrix(out, m);
  out.endPacket();
  auto buf = finish(out);

  int reads = 0;
  ioStatus s = readWith(
      buf,
      [&](ioReadContext& in) {
        for (double d : doubles)
          EXPECT_EQ(bits<std::uint64_t>(in.readDouble()), bits<std::uint64_t>(d));
        for (float f : floats)
          EXPECT_EQ(bits<std::uint32_t>(in.readFloat()), bits<std::uint32_t>(f));
        for (int i : ints) EXPECT_EQ(in.readInt(), i);
        EXPECT_TRUE(in.readBool());
        EXPECT_FALSE(in.readBool());
        double d8[8];
        float f5[5];
        int i4[4];
        in.readDoubles(d8, 8);
        in.readFloats(f5, 5);
        in.readInts(i4, 4);
        EXPECT_EQ(std::memcmp(d8, doubles, sizeof d8), 0);
        EXPECT_EQ(std::memcmp(f5, floats, sizeof f5), 0);
        EXPECT_EQ(std::memcmp(i4, ints, sizeof i4), 0);
        in.readInts(i4, 0);
        EXPECT_EQ(in.readReference(), 77);
        krLinear::Tuple2 t;
        krLinear::readTuple2(in, t);
        EXPECT_TRUE(std::signbit(t.x()));
        EXPECT_EQ(t.y(), 2.5);
        krLinear::AffineMatrix r;
        krLinear::readAffineMatrix(in, r);
        EXPECT_EQ(std::memcmp(r.data(), m.data(), 12 * sizeof(double)), 0);
        EXPECT_EQ(in.bytesLeftInChunk(), 0u);
        EXPECT_TRUE(in.packetOk());
      },
      &reads);
  EXPECT_TRUE(s.ok()) << s.message();
  EXPECT_EQ(reads, 1);
}

// The bytes of the example in docs/packet-format.md.
TEST(PacketValues, LayoutMatchesTheFormatDocument) {
  ioWriteContext out;
  out.startPacket("p", nullptr);
  out.writeInt(5);
  out.endPacket();
  auto buf = finish(out);
  // clang-format off
  std::vector<std::uint8_t> expect = {
      0x89, 'K', 'R', 'P', 0x0D, 0x0A, 0x1A, 0x0A, 1, 0, 0, 0,  // magic, version
      1, 'p', 0, 0, 0, 0, 12, 0, 0, 0, 0, 0, 0, 0,              // name, reference, length
      4, 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0,                       // one chunk: int 5
      0, 0, 0, 0,                                               // CRC
      0, 0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0,                    // end record, length 8
      1, 0, 0, 0, 0, 0, 0, 0,                                   // one packet
      0, 0, 0, 0};                                              // CRC
  // clang-format on
  auto put = [&](std::size_t at, std::uint32_t crc) {
    for (int k = 0; k < 4; ++k) expect[at + k] = static_cast<std::uint8_t>(crc >> (8 * k));
  };
  put(38, krPacket::crc32c(0, &expect[12], 26));
  put(63, krPacket::crc32c(0, &expect[42], 21));
  EXPECT_EQ(buf, expect);
}

// Writes three chunks (1; 2.5; 3) with a nested sub-packet in the second.
std::vector<std::uint8_t> chunkedStream() {
  ioWriteContext out;
  out.startPacket("p", nullptr);
  out.writeInt(1);
  out.startChunk();
  out.writeDouble(2.5);
  out.startSubPacket();
  out.writeInt(10);
  out.startChunk();
  out.writeInt(11);
  out.startSubPacket();
  out.writeInt(100);
  out.endSubPacket();
  out.endSubPacket();
  out.writeInt(12);
  out.startChunk();
  out.writeInt(3);
  out.endPacket();
  return finish(out);
}

TEST(PacketValues, ChunksAndSubPacketsReadInFull) {
  ioStatus s = readWith(chunkedStream(), [](ioReadContext& in) {
    EXPECT_TRUE(in.chunkPresent());
    EXPECT_EQ(in.readInt(), 1);
    EXPECT_TRUE(in.nextChunk());
    EXPECT_EQ(in.readDouble(), 2.5);
    in.startSubPacket();
    EXPECT_EQ(in.readInt(), 10);
    EXPECT_TRUE(in.nextChunk());
    EXPECT_EQ(in.readInt(), 11);
    in.startSubPacket();
    EXPECT_EQ(in.readInt(), 100);
    EXPECT_FALSE(in.nextChunk());
    in.endSubPacket();
    EXPECT_FALSE(in.nextChunk());
    in.endSubPacket();
    EXPECT_EQ(in.readInt(), 12);
    EXPECT_TRUE(in.nextChunk());
    EXPECT_EQ(in.readInt(), 3);
    EXPECT_FALSE(in.nextChunk());
  });
  EXPECT_TRUE(s.ok()) << s.message();
}

// An older reader: leaves values, the sub-packet and the last chunk unread.
TEST(PacketValues, UnreadValuesChunksAndSubPacketsAreSkipped) {
  ioStatus s = readWith(chunkedStream(), [](ioReadContext& in) {
    EXPECT_TRUE(in.nextChunk());
    EXPECT_EQ(in.readDouble(), 2.5);
    in.startSubPacket();
    in.endSubPacket();
    EXPECT_EQ(in.readInt(), 12);
  });
  EXPECT_TRUE(s.ok()) << s.message();
}

// A newer reader: chunks and sub-packets missing from the data read as defaults, without failing.
TEST(PacketValues, AbsentChunksReadAsDefaults) {
  ioWriteContext out;
  out.startPacket("p", nullptr);
  out.writeInt(5);
  out.endPacket();
  ioStatus s = readWith(finish(out), [](ioReadContext& in) {
    EXPECT_EQ(in.readInt(), 5);
    EXPECT_FALSE(in.nextChunk());
    EXPECT_FALSE(in.chunkPresent());
    EXPECT_EQ(in.readInt(), 0);
    EXPECT_EQ(in.readDouble(), 0.0);
    EXPECT_EQ(in.readPointer(), nullptr);
    float f[3] = {1, 2, 3};
    in.readFloats(f, 3);
    EXPECT_EQ(f[0] + f[1] + f[2], 0.0f);
    in.startSubPacket();
    EXPECT_EQ(in.readInt(), 0);
    in.endSubPacket();
    EXPECT_FALSE(in.nextChunk());
    EXPECT_TRUE(in.packetOk());
  });
  EXPECT_TRUE(s.ok()) << s.message();
}

TEST(PacketValues, ReadingPastAChunkGivesDefaultsAndFailsThePacket) {
  ioWriteContext out;
  out.startPacket("p", nullptr);
  out.writeInt(5);
  out.writeBool(true);
  out.startChunk();
  out.writeInt(6);
  out.endPacket();
  auto buf = finish(out);
  ioStatus s = readWith(buf, [](ioReadContext& in) {
    EXPECT_EQ(in.readInt(), 5);
    EXPECT_EQ(in.readInt(), 0);  // only one byte left
    EXPECT_FALSE(in.packetOk());
    EXPECT_FALSE(in.readBool());  // later reads give defaults too
    EXPECT_FALSE(in.nextChunk());
  });
  EXPECT_FALSE(s.ok());
  EXPECT_EQ(s.offset(), 12u + 1 + 1 + 12 + 8 + 4);  // header, name, fixed header, chunk, the int
  EXPECT_NE(std::string(s.message()).find("packet 'p'"), std::string::npos) << s.message();
  EXPECT_NE(std::string(s.message()).find("past the end"), std::string::npos) << s.message();
}

TEST(PacketValues, MalformedArraysAndCountsFailWithZeros) {
  ioWriteContext out;
  out.startPacket("p", nullptr);
  const int three[] = {1, 2, 3};
  out.writeInts(three, 3);
  out.endPacket();
  out.startPacket("p", nullptr);
  out.writeInt(1 << 30);  // a count with nothing behind it
  out.endPacket();
  auto buf = finish(out);
  int packet = 0;
  ioStatus s = readWith(buf, [&](ioReadContext& in) {
    if (packet++ == 0) {
      int four[4] = {9, 9, 9, 9};
      in.readInts(four, 4);
      EXPECT_EQ(four[0] | four[1] | four[2] | four[3], 0);
      EXPECT_FALSE(in.packetOk());
    }
  });
  EXPECT_NE(std::string(s.message()).find("array of 3 where 4 expected"), std::string::npos)
      << s.message();

  packet = 1;
  s = readWith(buf, [&](ioReadContext& in) {
    if (packet++ == 1) return;
    EXPECT_EQ(in.readCount(sizeof(float)), 0);
  });
  EXPECT_NE(std::string(s.message()).find("does not fit"), std::string::npos) << s.message();
}

TEST(PacketValues, UnknownPacketsAreSkippedWhole) {
  ioWriteContext out;
  out.startPacket("unknown", nullptr);
  out.writeDouble(1.0);
  out.startSubPacket();
  out.writeInt(2);
  out.endSubPacket();
  out.endPacket();
  out.startPacket("p", nullptr);
  out.writeInt(42);
  out.endPacket();
  int reads = 0;
  ioStatus s = readWith(
      finish(out), [](ioReadContext& in) { EXPECT_EQ(in.readInt(), 42); }, &reads);
  EXPECT_TRUE(s.ok()) << s.message();
  EXPECT_EQ(reads, 1);
}

TEST(PacketValues, WriterDropsInvalidPacketsAndReportsMisuse) {
  int x = 0, y = 0;
  ioWriteContext out;
  out.startPacket("p", &x);
  out.writeInt(1);
  out.invalidPacket();
  out.endPacket();
  out.startPacket("p", &y);
  out.writeInt(2);
  out.endPacket();
  EXPECT_EQ(out.getReferenceDefinition(1), &y);  // x's number was taken back
  int reads = 0;
  EXPECT_TRUE(readWith(
                  finish(out), [](ioReadContext& in) { EXPECT_EQ(in.readInt(), 2); }, &reads)
                  .ok());
  EXPECT_EQ(reads, 1);

  ioWriteContext bad;
  bad.writeInt(1);
  EXPECT_FALSE(bad.close().ok());
  ioWriteContext longName;
  longName.startPacket(std::string(256, 'x').c_str(), nullptr);
  EXPECT_FALSE(longName.close().ok());
}

}  // namespace
