// krGeom::MoveableArrayAllocator: keeps Array blocks in moveable chunks of the platform layer, so
// that all blocks of one owner (typically a mesh) can be parked with unmap() and brought back,
// possibly at other addresses, with map().
//
//   krOS::MoveableAllocator pool;                 // must outlive the allocator below
//   kr::Reference<krGeom::ArrayAllocator> store(new krGeom::MoveableArrayAllocator(pool));
//   mesh->setArrayAllocator(store);
//   ...
//   static_cast<krGeom::MoveableArrayAllocator&>(*store).unmap();   // park every block
//   static_cast<krGeom::MoveableArrayAllocator&>(*store).map();     // before the next use
//
// Lookups go through a hash index of the owners, so element access costs the same whatever the
// number of blocks. One thread at a time.
#pragma once

#include <geom/export.h>
#include <geom/foundation/array.h>
#include <kr/moveable.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace krGeom {

class KRGEOM_EXPORT MoveableArrayAllocator : public ArrayAllocator {
 public:
  // --- Construction ---

  // An empty table, not mapped. `chunks` is borrowed and must outlive this allocator.
  explicit MoveableArrayAllocator(krOS::MoveableAllocator& chunks);
  MoveableArrayAllocator(const MoveableArrayAllocator&) = delete;
  MoveableArrayAllocator& operator=(const MoveableArrayAllocator&) = delete;
  // Releases every chunk.
  ~MoveableArrayAllocator() override;

  // --- ArrayAllocator ---

  // Current address of the block of `owner`; null when unknown, empty or unmapped.
  const void* get(const void* owner) const override;
  // Current address of the block of `owner`; null when unknown, empty or unmapped.
  void* get(const void* owner) override;
  // Gives `owner` a fresh chunk of `bytes` bytes, mapped at once, and copies the common prefix;
  // an unchanged size returns before any allocation. A resize to 0 keeps the (empty) entry.
  // Precondition: the allocator is mapped, or the block has no contents worth keeping.
  void resize(const void* owner, std::size_t bytes) override;
  // Releases the chunk of `owner` and removes its entry; unknown keys are ignored.
  void free(const void* owner) override;

  // --- Mapping ---

  // Maps every block; addresses may differ from before, so element pointers must be re-fetched.
  void map();
  // Parks every block: get() returns null until map(); arrays must not be touched meanwhile.
  void unmap() noexcept;
  // True between map() and unmap() (false after construction; resize maps new blocks anyway).
  bool isMapped() const noexcept { return mapped_; }

  // --- Queries ---

  // Number of entries in the table, including entries resized to 0.
  std::size_t numBlocks() const noexcept { return blocks_.size(); }

 private:
  struct Block {
    const void* owner;
    std::unique_ptr<krOS::MoveableChunk> chunk;  // null while the block is empty
    std::uint64_t size;
    void* address;  // null while unmapped or empty
  };
  // A slot of the owner index: the key and its position in blocks_ (owner null: empty slot).
  struct Slot {
    const void* owner;
    std::size_t position;
  };
  Block* find(const void* owner) noexcept;
  const Block* find(const void* owner) const noexcept;
  // Position of `owner` in blocks_, or blocks_.size() when it has no entry.
  std::size_t position(const void* owner) const noexcept;
  // The same through the index alone; remembers the position among the recent ones.
  std::size_t indexedPosition(const void* owner) const noexcept;
  // Makes the index at most a quarter full with `count` entries; throws std::bad_alloc and
  // leaves it unchanged when it cannot grow.
  void reserveIndex(std::size_t count);
  // Records blocks_[position] in the index, which has room for it.
  void insertIntoIndex(std::size_t position) noexcept;
  // Records every block again in the index's slots, allocating nothing.
  void refillIndex() noexcept;

  krOS::MoveableAllocator& chunks_;
  std::vector<Block> blocks_;  // in order of first use
  std::vector<Slot> index_;    // open addressing, linear probing; size a power of two or 0
  unsigned indexShift_ = 64;   // 64 - log2(index_.size())
  static constexpr int kRecent = 4;
  mutable std::size_t recent_[kRecent] = {};  // where the last lookups found their blocks
  bool mapped_ = false;
};

}  // namespace krGeom
