#include <kr/moveable.h>

#include "system_memory.h"

#if !defined(__linux__)
#error "moveable memory is implemented with Linux memory files (memfd_create)"
#endif

#include <cassert>
#include <limits>
#include <new>

#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

namespace krOS {

namespace {

// A shared read-write mapping of the whole file; throws std::bad_alloc on failure.
void* mapFile(int fd, std::size_t size) {
  askSystemMemory(size);
  void* p = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (p == MAP_FAILED) throw std::bad_alloc();
  return p;
}

// Whether the system would commit `bytes` of private memory, as malloc would ask it: reserve an
// accounted anonymous range without touching it, then give it back at once.
bool commitPossible(std::size_t bytes) {
  void* p = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) return false;
  ::munmap(p, bytes);
  return true;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// MoveableChunk

MoveableChunk::MoveableChunk(MoveableAllocator& owner, int fd, std::size_t size) noexcept
    : owner_(&owner), fd_(fd), size_(size) {
  ++owner_->numChunks_;
}

MoveableChunk::~MoveableChunk() {
  unmap();
  if (fd_ >= 0) ::close(fd_);
  --owner_->numChunks_;
}

void* MoveableChunk::mapAvoiding(const void* avoid) const {
  void* p = mapFile(fd_, size_);
  if (p != avoid) return p;
  // Keep the unwanted range occupied while mapping again, so the kernel must choose another.
  void* q;
  try {
    q = mapFile(fd_, size_);
  } catch (...) {
    ::munmap(p, size_);
    throw;
  }
  ::munmap(p, size_);
  return q;
}

void* MoveableChunk::map() {
  if (mapped_) return address_;
  if (size_ > 0) {
    address_ = owner_->moveOnMap_ ? mapAvoiding(previous_) : mapFile(fd_, size_);
    previous_ = address_;
  }
  mapped_ = true;
  return address_;
}

void MoveableChunk::unmap() noexcept {
  if (!mapped_) return;
  if (size_ > 0) ::munmap(address_, size_);
  address_ = nullptr;
  mapped_ = false;
}

void* MoveableChunk::move() {
  if (size_ > 0) {
    // While mapped the current range is still occupied, so any new mapping lands elsewhere.
    void* p = mapped_ ? mapFile(fd_, size_) : mapAvoiding(previous_);
    if (mapped_) ::munmap(address_, size_);
    address_ = previous_ = p;
  }
  mapped_ = true;
  return address_;
}

// ---------------------------------------------------------------------------------------------
// MoveableAllocator

MoveableAllocator::~MoveableAllocator() {
  assert(numChunks_ == 0 && "moveable allocator destroyed before its chunks");
}

MoveableChunk* MoveableAllocator::allocate(std::size_t bytes) {
  if (bytes == 0) return new MoveableChunk(*this, -1, 0);
  askSystemMemory(bytes);
  if (bytes > static_cast<std::size_t>(std::numeric_limits<off_t>::max()) || !commitPossible(bytes))
    throw std::bad_alloc();
  const int fd = ::memfd_create("krOS.moveable", MFD_CLOEXEC);
  if (fd < 0) throw std::bad_alloc();
  // The file is sized sparsely: pages are supplied (zero-filled) on first touch.
  if (::ftruncate(fd, static_cast<off_t>(bytes)) != 0) {
    ::close(fd);
    throw std::bad_alloc();
  }
  try {
    return new MoveableChunk(*this, fd, bytes);
  } catch (...) {
    ::close(fd);
    throw;
  }
}

}  // namespace krOS
