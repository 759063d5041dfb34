#include "system_memory.h"

namespace krOS {

namespace {
SystemMemoryHook currentHook = nullptr;
}  // namespace

void setSystemMemoryHook(SystemMemoryHook hook) noexcept {
  currentHook = hook;
}

SystemMemoryHook systemMemoryHook() noexcept {
  return currentHook;
}

}  // namespace krOS
