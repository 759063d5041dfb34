#include <geom/foundation/moveable_array_allocator.h>

#include <kr/moveable.h>

#include <algorithm>
#include <cstring>

namespace krGeom {

MoveableArrayAllocator::MoveableArrayAllocator(krOS::MoveableAllocator& chunks) : chunks_(chunks) {}

MoveableArrayAllocator::~MoveableArrayAllocator() = default;

MoveableArrayAllocator::Block* MoveableArrayAllocator::find(const void* owner) noexcept {
  for (Block& b : blocks_) {
    if (b.owner == owner) return &b;
  }
  return nullptr;
}

const MoveableArrayAllocator::Block* MoveableArrayAllocator::find(
    const void* owner) const noexcept {
  for (const Block& b : blocks_) {
    if (b.owner == owner) return &b;
  }
  return nullptr;
}

const void* MoveableArrayAllocator::get(const void* owner) const {
  const Block* b = find(owner);
  return b ? b->address : nullptr;
}

void* MoveableArrayAllocator::get(const void* owner) {
  Block* b = find(owner);
  return b ? b->address : nullptr;
}

void MoveableArrayAllocator::resize(const void* owner, std::size_t bytes) {
  Block* b = find(owner);
  if (!b) {
    if (bytes == 0) return;
    blocks_.push_back(Block{owner, nullptr, 0, nullptr});
    b = &blocks_.back();
  }
  if (b->size == bytes) return;

  std::unique_ptr<krOS::MoveableChunk> chunk;
  void* address = nullptr;
  if (bytes > 0) {
    chunk.reset(chunks_.allocate(bytes));
    address = chunk->map();
    // A parked old block has no address; its contents cannot be carried over.
    if (b->size > 0 && b->address) {
      std::memcpy(address, b->address, std::min<std::uint64_t>(b->size, bytes));
    }
  }
  b->chunk = std::move(chunk);  // releases the old chunk
  b->size = bytes;
  b->address = address;
}

void MoveableArrayAllocator::free(const void* owner) {
  auto it = std::find_if(blocks_.begin(), blocks_.end(),
                         [owner](const Block& b) { return b.owner == owner; });
  if (it != blocks_.end()) blocks_.erase(it);
}

void MoveableArrayAllocator::map() {
  mapped_ = true;
  for (Block& b : blocks_) {
    if (b.chunk) b.address = b.chunk->map();
  }
}

void MoveableArrayAllocator::unmap() noexcept {
  mapped_ = false;
  for (Block& b : blocks_) {
    if (b.chunk) {
      b.chunk->unmap();
      b.address = nullptr;
    }
  }
}

}  // namespace krGeom
