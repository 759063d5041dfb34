// krOS::MoveableAllocator and krOS::MoveableChunk: memory that can be parked and brought back,
// possibly at another address.
//
//   krOS::MoveableAllocator allocator;
//   std::unique_ptr<krOS::MoveableChunk> chunk(allocator.allocate(4096));
//   auto* p = static_cast<float*>(chunk->map());  // usable until unmap()
//   p[0] = 1.0f;
//   chunk->unmap();                               // parked: no address space used
//   p = static_cast<float*>(chunk->map());        // maybe elsewhere; p[0] is still 1.0f
//
// Each chunk keeps its bytes in its own anonymous memory file (memfd_create), mapped shared while
// in use. Unmapping releases the address range but keeps the file, so the contents survive and the
// next mapping may land elsewhere. New chunks read as zero. Mappings are page aligned.
// Each live chunk holds one open file descriptor, so the number of live chunks is bounded by the
// process's descriptor limit (RLIMIT_NOFILE). Linux only.
//
// The allocator must outlive every chunk it made (it counts them; asserted in debug builds).
// Neither type is copyable; one thread at a time for an allocator and all its chunks.
#pragma once

#include <kr/export.h>

#include <cstddef>

namespace krOS {

class MoveableAllocator;

class KR_PLATFORM_EXPORT MoveableChunk {
 public:
  MoveableChunk(const MoveableChunk&) = delete;
  MoveableChunk& operator=(const MoveableChunk&) = delete;
  // Unmaps the chunk, releases its memory and counts it off its allocator.
  ~MoveableChunk();

  // Mapping
  // Maps the chunk if it is not mapped and returns its address, valid until unmap(), move() or
  // destruction. With the allocator's move-on-map option, a new mapping never lands at the
  // chunk's previous address. A zero-byte chunk maps to null. Throws std::bad_alloc when no
  // address range can be had.
  void* map();
  // Releases the address range; the contents stay. Does nothing when not mapped.
  void unmap() noexcept;
  // Maps the chunk at a new address, different from its current (or, when unmapped, its previous)
  // one, and returns it. The new mapping is made before the old one is released, so an old
  // pointer is invalid afterwards. A zero-byte chunk stays at null. Throws std::bad_alloc; the
  // chunk is then as it was.
  void* move();

  // Queries
  std::size_t size() const noexcept { return size_; }
  bool isMapped() const noexcept { return mapped_; }
  // The current address; null while unmapped (and always for a zero-byte chunk).
  void* address() const noexcept { return address_; }

 private:
  friend class MoveableAllocator;
  MoveableChunk(MoveableAllocator& owner, int fd, std::size_t size) noexcept;

  // A fresh mapping of the file that is not at address `avoid`.
  void* mapAvoiding(const void* avoid) const;

  MoveableAllocator* owner_;
  int fd_;  // the memory file; -1 for a zero-byte chunk
  std::size_t size_;
  void* address_ = nullptr;
  void* previous_ = nullptr;  // the latest mapping's address, kept after unmap()
  bool mapped_ = false;
};

class KR_PLATFORM_EXPORT MoveableAllocator {
 public:
  // Construction
  MoveableAllocator() = default;
  MoveableAllocator(const MoveableAllocator&) = delete;
  MoveableAllocator& operator=(const MoveableAllocator&) = delete;
  // Precondition: every chunk of this allocator has been deleted.
  ~MoveableAllocator();

  // Chunks
  // A new, unmapped, zero-filled chunk of `bytes` bytes, owned by the caller (`delete chunk`
  // releases it). The size is checked against the system's memory commit policy the way malloc
  // is, so an impossible size fails here rather than at map() or on first touch.
  // Throws std::bad_alloc when the memory file cannot be created or sized.
  MoveableChunk* allocate(std::size_t bytes);

  // Options
  // When on, every map() of a chunk returns an address different from the chunk's previous one
  // (a test aid for code that must re-fetch pointers after mapping). Off by default.
  void setMoveOnMap(bool on) noexcept { moveOnMap_ = on; }
  bool moveOnMap() const noexcept { return moveOnMap_; }

  // Queries
  // Number of live chunks made by this allocator.
  std::size_t numChunks() const noexcept { return numChunks_; }

 private:
  friend class MoveableChunk;
  std::size_t numChunks_ = 0;
  bool moveOnMap_ = false;
};

}  // namespace krOS
