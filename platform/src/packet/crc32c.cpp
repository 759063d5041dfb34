#include "crc32c.h"

#include "format.h"

#include <array>

#if defined(__x86_64__) && defined(__GNUC__)
#include <nmmintrin.h>
#define KR_CRC_HARDWARE 1
#else
#define KR_CRC_HARDWARE 0
#endif

namespace krPacket {

namespace {

constexpr std::uint32_t kPoly = 0x82F63B78u;

// Slice-by-8 tables: t[k][b] is the register after b followed by k zero bytes.
struct SliceTables {
  std::uint32_t t[8][256] = {};
  constexpr SliceTables() {
    for (std::uint32_t i = 0; i < 256; ++i) {
      std::uint32_t c = i;
      for (int k = 0; k < 8; ++k) c = (c >> 1) ^ ((c & 1u) ? kPoly : 0u);
      t[0][i] = c;
    }
    for (int k = 1; k < 8; ++k)
      for (int i = 0; i < 256; ++i) t[k][i] = (t[k - 1][i] >> 8) ^ t[0][t[k - 1][i] & 0xFFu];
  }
};
constexpr SliceTables kSlice;

#if KR_CRC_HARDWARE
// GF(2) 32x32 matrices as columns: the register transform of feeding zero bits.
using Matrix = std::array<std::uint32_t, 32>;

constexpr std::uint32_t apply(const Matrix& m, std::uint32_t v) {
  std::uint32_t r = 0;
  for (int i = 0; v; ++i, v >>= 1)
    if (v & 1u) r ^= m[i];
  return r;
}

constexpr Matrix compose(const Matrix& a, const Matrix& b) {  // a after b
  Matrix r{};
  for (int i = 0; i < 32; ++i) r[i] = apply(a, b[i]);
  return r;
}

// Advances a register over Bytes zero bytes with one table per register byte; the three-stream
// loop joins its streams with it.
template <std::size_t Bytes>
struct ShiftTables {
  std::uint32_t t[4][256] = {};
  constexpr ShiftTables() {
    Matrix base{};
    base[0] = kPoly;
    for (int i = 1; i < 32; ++i) base[i] = 1u << (i - 1);
    Matrix result{};
    for (int i = 0; i < 32; ++i) result[i] = 1u << i;
    for (std::uint64_t bits = Bytes * 8; bits; bits >>= 1) {
      if (bits & 1u) result = compose(base, result);
      base = compose(base, base);
    }
    for (int k = 0; k < 4; ++k)
      for (std::uint32_t b = 0; b < 256; ++b) t[k][b] = apply(result, b << (8 * k));
  }
  std::uint32_t operator()(std::uint32_t c) const {
    return t[0][c & 0xFFu] ^ t[1][(c >> 8) & 0xFFu] ^ t[2][(c >> 16) & 0xFFu] ^ t[3][c >> 24];
  }
};
// Bytes per stream: long blocks for bulk data, short ones for the rest of a packet.
constexpr std::size_t kLongBlock = 2048, kShortBlock = 128;
constexpr ShiftTables<kLongBlock> kShiftLong;
constexpr ShiftTables<kShortBlock> kShiftShort;

// Three independent streams of Block bytes each hide the instruction's latency.
template <std::size_t Block, typename Shift>
__attribute__((target("sse4.2"))) inline std::uint64_t crcThreeStreams(std::uint64_t c0,
                                                                       const std::uint8_t*& p,
                                                                       std::size_t& size,
                                                                       const Shift& shift) {
  while (size >= 3 * Block) {
    std::uint64_t c1 = 0, c2 = 0;
    for (std::size_t i = 0; i < Block; i += 8) {
      c0 = _mm_crc32_u64(c0, load<std::uint64_t>(p + i));
      c1 = _mm_crc32_u64(c1, load<std::uint64_t>(p + Block + i));
      c2 = _mm_crc32_u64(c2, load<std::uint64_t>(p + 2 * Block + i));
    }
    c0 = shift(static_cast<std::uint32_t>(c0)) ^ static_cast<std::uint32_t>(c1);
    c0 = shift(static_cast<std::uint32_t>(c0)) ^ static_cast<std::uint32_t>(c2);
    p += 3 * Block;
    size -= 3 * Block;
  }
  return c0;
}
#endif

}  // namespace

std::uint32_t crc32cPortable(std::uint32_t crc, const void* data, std::size_t size) {
  const auto* p = static_cast<const std::uint8_t*>(data);
  std::uint32_t c = ~crc;
  const auto& t = kSlice.t;
  while (size >= 8) {
    std::uint32_t lo = load<std::uint32_t>(p) ^ c;
    std::uint32_t hi = load<std::uint32_t>(p + 4);
    c = t[7][lo & 0xFFu] ^ t[6][(lo >> 8) & 0xFFu] ^ t[5][(lo >> 16) & 0xFFu] ^ t[4][lo >> 24] ^
        t[3][hi & 0xFFu] ^ t[2][(hi >> 8) & 0xFFu] ^ t[1][(hi >> 16) & 0xFFu] ^ t[0][hi >> 24];
    p += 8;
    size -= 8;
  }
  while (size--) c = (c >> 8) ^ t[0][(c ^ *p++) & 0xFFu];
  return ~c;
}

#if KR_CRC_HARDWARE
bool crc32cHardwareAvailable() {
  return __builtin_cpu_supports("sse4.2");
}

__attribute__((target("sse4.2"))) std::uint32_t crc32cHardware(std::uint32_t crc, const void* data,
                                                               std::size_t size) {
  const auto* p = static_cast<const std::uint8_t*>(data);
  std::uint64_t c0 = ~crc;
  c0 = crcThreeStreams<kLongBlock>(c0, p, size, kShiftLong);
  c0 = crcThreeStreams<kShortBlock>(c0, p, size, kShiftShort);
  for (; size >= 8; size -= 8, p += 8) c0 = _mm_crc32_u64(c0, load<std::uint64_t>(p));
  auto c = static_cast<std::uint32_t>(c0);
  for (; size; --size) c = _mm_crc32_u8(c, *p++);
  return ~c;
}
#else
bool crc32cHardwareAvailable() {
  return false;
}

std::uint32_t crc32cHardware(std::uint32_t crc, const void* data, std::size_t size) {
  return crc32cPortable(crc, data, size);
}
#endif

std::uint32_t crc32c(std::uint32_t crc, const void* data, std::size_t size) {
  return crc32cHardwareAvailable() ? crc32cHardware(crc, data, size)
                                   : crc32cPortable(crc, data, size);
}

}  // namespace krPacket
