// krPacket::ReferenceTable: object addresses to reference numbers, for the packet writer.
// An open-addressing hash table with linear probing: a stream of millions of records looks up
// several addresses per packet, which a node-based map makes the writer's main cost.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace krPacket {

class ReferenceTable {
 public:
  // The number stored for key (non-null), or 0.
  std::uint32_t find(const void* key) const noexcept;
  // Stores value (non-zero) for key (non-null) unless key is present; returns the stored value.
  std::uint32_t insert(const void* key, std::uint32_t value);
  // Removes key if present.
  void erase(const void* key) noexcept;

 private:
  struct Slot {
    const void* key = nullptr;
    std::uint32_t value = 0;
  };
  std::size_t home(const void* key) const noexcept;
  void grow();

  std::vector<Slot> slots_;
  std::size_t size_ = 0;
};

}  // namespace krPacket
