// Byte layout of packet streams, shared by the writer and the reader (see docs/packet-format.md).
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace krPacket {

// First eight bytes of every stream: a non-ASCII lead byte, a name, and CR LF SUB LF to catch
// text-mode transfers.
inline constexpr std::uint8_t kMagic[8] = {0x89, 'K', 'R', 'P', '\r', '\n', 0x1A, '\n'};
// Version of the layout; readers reject any other.
inline constexpr std::uint32_t kVersion = 1;
// Magic plus version.
inline constexpr std::size_t kStreamHeaderSize = 8 + 4;
// Packet header after the name: u32 reference, u64 body length.
inline constexpr std::size_t kPacketFixedHeader = 4 + 8;
// Trailing CRC-32C of a packet.
inline constexpr std::size_t kCrcSize = 4;
// Length prefix of a chunk and of a sub-packet.
inline constexpr std::size_t kLengthSize = 8;
// Array count prefix.
inline constexpr std::size_t kCountSize = 4;
// Longest packet name (the length is one byte; 0 marks the end record).
inline constexpr std::size_t kMaxNameLength = 255;
// Body of the end record: u64 number of packets before it.
inline constexpr std::size_t kEndBodySize = 8;
// Deepest nesting of sub-packets.
inline constexpr int kMaxSubPacketDepth = 32;
// Most packets in one stream.
inline constexpr std::uint64_t kMaxPackets = std::uint64_t{1} << 28;
// Reference numbers are at most input size / this (each first use costs four bytes).
inline constexpr std::uint64_t kBytesPerReference = 4;

// Little-endian load and store of trivially copyable values.
template <typename T>
inline T load(const std::uint8_t* p) noexcept {
  T v;
  if constexpr (std::endian::native == std::endian::little || sizeof(T) == 1) {
    std::memcpy(&v, p, sizeof(T));
  } else {
    std::uint8_t b[sizeof(T)];
    for (std::size_t i = 0; i < sizeof(T); ++i) b[i] = p[sizeof(T) - 1 - i];
    std::memcpy(&v, b, sizeof(T));
  }
  return v;
}

template <typename T>
inline void store(std::uint8_t* p, T v) noexcept {
  if constexpr (std::endian::native == std::endian::little || sizeof(T) == 1) {
    std::memcpy(p, &v, sizeof(T));
  } else {
    std::uint8_t b[sizeof(T)];
    std::memcpy(b, &v, sizeof(T));
    for (std::size_t i = 0; i < sizeof(T); ++i) p[i] = b[sizeof(T) - 1 - i];
  }
}

// Copies count little-endian elements of type T from src to dst (either may be the stream side).
template <typename T>
inline void copyElements(void* dst, const void* src, std::size_t count) noexcept {
  if constexpr (std::endian::native == std::endian::little) {
    if (count) std::memcpy(dst, src, count * sizeof(T));
  } else {
    auto* d = static_cast<std::uint8_t*>(dst);
    auto* s = static_cast<const std::uint8_t*>(src);
    for (std::size_t i = 0; i < count; ++i)
      for (std::size_t k = 0; k < sizeof(T); ++k)
        d[i * sizeof(T) + k] = s[i * sizeof(T) + sizeof(T) - 1 - k];
  }
}

}  // namespace krPacket
