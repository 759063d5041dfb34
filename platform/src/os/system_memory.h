// The platform's side of the system-memory test hook (kr/system_memory_hook.h).
#pragma once

#include <kr/system_memory_hook.h>

#include <new>

namespace krOS {

// Throws std::bad_alloc when a test hook refuses a request for `bytes` of system memory.
inline void askSystemMemory(std::size_t bytes) {
  const SystemMemoryHook hook = systemMemoryHook();
  if (hook && !hook(bytes)) throw std::bad_alloc();
}

}  // namespace krOS
