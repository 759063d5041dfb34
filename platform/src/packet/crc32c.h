// CRC-32C (Castagnoli, reflected polynomial 0x82F63B78) as used by packet streams.
#pragma once

#include <kr/export.h>

#include <cstddef>
#include <cstdint>

namespace krPacket {

// Continues a CRC-32C: crc32c(crc32c(0, a), b) == crc32c(0, a + b). Picks the fastest path.
KR_PLATFORM_EXPORT std::uint32_t crc32c(std::uint32_t crc, const void* data, std::size_t size);
// The portable slice-by-8 path.
KR_PLATFORM_EXPORT std::uint32_t crc32cPortable(std::uint32_t crc, const void* data,
                                                std::size_t size);
// True when this CPU has the SSE4.2 crc32 instruction.
KR_PLATFORM_EXPORT bool crc32cHardwareAvailable();
// The SSE4.2 path; call only when crc32cHardwareAvailable().
KR_PLATFORM_EXPORT std::uint32_t crc32cHardware(std::uint32_t crc, const void* data,
                                                std::size_t size);

}  // namespace krPacket
