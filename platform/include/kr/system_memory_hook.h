// A test hook on the memory the platform takes straight from the operating system rather than
// from the heap: the large blocks of krOS::FSAllocator pools and the chunks and mappings of
// krOS::MoveableAllocator. Heap memory (operator new) is not covered; tests replace the global
// allocation functions for that.
//
//   krOS::setSystemMemoryHook([](std::size_t) noexcept { return false; });  // refuse everything
//   ...                                      // FSAllocator and MoveableAllocator throw bad_alloc
//   krOS::setSystemMemoryHook(nullptr);      // back to normal
//
// Meant for allocation-failure tests only. The hook is a single process-wide pointer, null by
// default; while it is null every request goes to the system as usual.
#pragma once

#include <kr/export.h>

#include <cstddef>

namespace krOS {

// Called before each request for `bytes` of system memory; returning false makes the request
// fail with std::bad_alloc, as if the system had refused it.
using SystemMemoryHook = bool (*)(std::size_t bytes) noexcept;

// Installs `hook` (null removes it). Not thread-safe: set it while no other thread allocates.
KR_PLATFORM_EXPORT void setSystemMemoryHook(SystemMemoryHook hook) noexcept;
KR_PLATFORM_EXPORT SystemMemoryHook systemMemoryHook() noexcept;

}  // namespace krOS
