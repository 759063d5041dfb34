#include <geom/foundation/moveable_array_allocator.h>

#include <kr/moveable.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace krGeom {

MoveableArrayAllocator::MoveableArrayAllocator(krOS::MoveableAllocator& chunks) : chunks_(chunks) {}

MoveableArrayAllocator::~MoveableArrayAllocator() = default;

namespace {

// Fibonacci hashing of the owner's address; the top bits pick the slot.
std::size_t slotOf(const void* owner, unsigned shift) noexcept {
  return std::size_t(
      (std::uint64_t(reinterpret_cast<std::uintptr_t>(owner)) * 0x9E3779B97F4A7C15ull) >> shift);
}

}  // namespace

std::size_t MoveableArrayAllocator::indexedPosition(const void* owner) const noexcept {
  if (index_.empty()) return blocks_.size();
  const std::size_t mask = index_.size() - 1;
  for (std::size_t s = slotOf(owner, indexShift_);; s = (s + 1) & mask) {
    const Slot& slot = index_[s];
    if (slot.owner == owner) {
      std::copy_backward(recent_, recent_ + kRecent - 1, recent_ + kRecent);
      return recent_[0] = slot.position;
    }
    if (!slot.owner) return blocks_.size();
  }
}

inline std::size_t MoveableArrayAllocator::position(const void* owner) const noexcept {
  // Loops touch one array, or a few in turn (positions, normals, colours), many times: the
  // blocks found last are checked first, the most recent first. Each check compares the owner,
  // so erasing entries never leaves one stale.
  for (const std::size_t r : recent_)
    if (r < blocks_.size() && blocks_[r].owner == owner) return r;
  return indexedPosition(owner);
}

MoveableArrayAllocator::Block* MoveableArrayAllocator::find(const void* owner) noexcept {
  const std::size_t i = position(owner);
  return i < blocks_.size() ? &blocks_[i] : nullptr;
}

const MoveableArrayAllocator::Block* MoveableArrayAllocator::find(
    const void* owner) const noexcept {
  const std::size_t i = position(owner);
  return i < blocks_.size() ? &blocks_[i] : nullptr;
}

void MoveableArrayAllocator::reserveIndex(std::size_t count) {
  if (4 * count <= index_.size()) return;  // at most a quarter full: short probes
  std::size_t capacity = std::max<std::size_t>(8, index_.size());
  while (4 * count > capacity) capacity *= 2;
  std::vector<Slot> bigger(capacity, Slot{nullptr, 0});  // the only allocation; may throw
  index_.swap(bigger);
  refillIndex();
}

void MoveableArrayAllocator::insertIntoIndex(std::size_t position) noexcept {
  const std::size_t mask = index_.size() - 1;
  std::size_t s = slotOf(blocks_[position].owner, indexShift_);
  while (index_[s].owner) s = (s + 1) & mask;
  index_[s] = Slot{blocks_[position].owner, position};
}

void MoveableArrayAllocator::refillIndex() noexcept {
  std::fill(index_.begin(), index_.end(), Slot{nullptr, 0});
  indexShift_ = 64;
  for (std::size_t c = index_.size(); c > 1; c >>= 1) --indexShift_;
  for (std::size_t i = 0; i < blocks_.size(); ++i) insertIntoIndex(i);
}

const void* MoveableArrayAllocator::get(const void* owner) const {
  const std::size_t i = position(owner);
  return i < blocks_.size() ? blocks_[i].address : nullptr;
}

void* MoveableArrayAllocator::get(const void* owner) {
  const std::size_t i = position(owner);
  return i < blocks_.size() ? blocks_[i].address : nullptr;
}

void MoveableArrayAllocator::resize(const void* owner, std::size_t bytes) {
  Block* b = find(owner);
  if (!b) {
    if (bytes == 0) return;
    // Room first: when either allocation fails, the allocator is as it was.
    reserveIndex(blocks_.size() + 1);
    blocks_.push_back(Block{owner, nullptr, 0, nullptr});
    insertIntoIndex(blocks_.size() - 1);
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
  const std::size_t i = position(owner);
  if (i == blocks_.size()) return;
  blocks_.erase(blocks_.begin() + std::ptrdiff_t(i));
  // The entries after it moved down one place; erasing is linear in the table anyway.
  refillIndex();
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
