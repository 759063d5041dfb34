// Replaces the global allocation functions of this test executable with counting ones that can
// fail on demand, and installs the platform's system-memory hook on the same counter.
#include "failing_allocation.h"

#include <kr/system_memory_hook.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace failalloc {

namespace {

bool armed = false;
bool hasFired = false;
long counted = 0;
long failOn = 0;
long live = 0;

// Counts one request; false when it is the one to fail.
bool grant() noexcept {
  if (!armed) return true;
  if (++counted != failOn) return true;
  hasFired = true;
  return false;
}

bool systemHook(std::size_t) noexcept {
  return grant();
}

void* allocate(std::size_t size, std::size_t alignment) noexcept {
  if (!grant()) return nullptr;
  if (size == 0) size = 1;
  void* p;
  if (alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__) {
    p = std::malloc(size);
  } else {
    size = (size + alignment - 1) / alignment * alignment;
    p = std::aligned_alloc(alignment, size);
  }
  if (p) ++live;
  return p;
}

void* allocateOrThrow(std::size_t size, std::size_t alignment) {
  void* p = allocate(size, alignment);
  if (!p) throw std::bad_alloc();
  return p;
}

void release(void* p) noexcept {
  if (!p) return;
  --live;
  std::free(p);
}

}  // namespace

long liveHeapBlocks() noexcept {
  return live;
}

FailAt::FailAt(long n) noexcept {
  armed = true;
  hasFired = false;
  counted = 0;
  failOn = n;
  krOS::setSystemMemoryHook(systemHook);
}

FailAt::~FailAt() {
  disarm();
}

void FailAt::disarm() noexcept {
  armed = false;
  krOS::setSystemMemoryHook(nullptr);
}

bool FailAt::fired() const noexcept {
  return hasFired;
}

long FailAt::count() const noexcept {
  return counted;
}

Paused::Paused() noexcept : wasArmed_(armed) {
  armed = false;
}

Paused::~Paused() {
  armed = wasArmed_;
}

}  // namespace failalloc

using failalloc::allocate;
using failalloc::allocateOrThrow;
using failalloc::release;

constexpr std::size_t kDefault = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

void* operator new(std::size_t n) {
  return allocateOrThrow(n, kDefault);
}
void* operator new[](std::size_t n) {
  return allocateOrThrow(n, kDefault);
}
void* operator new(std::size_t n, std::align_val_t a) {
  return allocateOrThrow(n, static_cast<std::size_t>(a));
}
void* operator new[](std::size_t n, std::align_val_t a) {
  return allocateOrThrow(n, static_cast<std::size_t>(a));
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
  return allocate(n, kDefault);
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
  return allocate(n, kDefault);
}
void* operator new(std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return allocate(n, static_cast<std::size_t>(a));
}
void* operator new[](std::size_t n, std::align_val_t a, const std::nothrow_t&) noexcept {
  return allocate(n, static_cast<std::size_t>(a));
}

void operator delete(void* p) noexcept {
  release(p);
}
void operator delete[](void* p) noexcept {
  release(p);
}
void operator delete(void* p, std::size_t) noexcept {
  release(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  release(p);
}
void operator delete(void* p, std::align_val_t) noexcept {
  release(p);
}
void operator delete[](void* p, std::align_val_t) noexcept {
  release(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept {
  release(p);
}
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept {
  release(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
  release(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
  release(p);
}
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept {
  release(p);
}
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept {
  release(p);
}
