// A software fetch for the tree builds' loops whose next lines the hardware does not ask for
// early enough: scatters into many buckets, gathers by point index.
#pragma once

#include <cstddef>
#include <cstdint>

namespace krGeom {

// Asks for the cache line `bytes` past p ahead of its use. The address may lie past the array:
// a fetch never faults.
inline void fetchAhead(const void* p, std::size_t bytes) {
#if defined(__GNUC__)
  __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(p) + bytes));
#else
  (void)p, (void)bytes;
#endif
}

}  // namespace krGeom
