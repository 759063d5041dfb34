// Change sets of the transaction log: the entries that say how each touched record differs
// between the two ends of a change set, and an open-addressing index from record address to
// entry.
#pragma once

#include "topo_mesh_impl.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace krGeom {

// Bytes of a record of each kind (what a saved copy holds and an exchange swaps).
inline constexpr std::size_t kTopoMeshRecordBytes[3] = {
    sizeof(TopoMeshVertexData), sizeof(TopoMeshEdgeData), sizeof(TopoMeshFaceData)};
// The largest of them: the size of the scratch buffer of an exchange.
inline constexpr std::size_t kTopoMeshMaxRecordBytes = sizeof(TopoMeshEdgeData);

// One record touched between two states. `status` says whether the record exists at each end:
// eCreated (only at the child end), eChanged (at both), eDeleted (only at the parent end).
// `copy`, when not null, is a pool record of the same kind that holds the record's contents at
// the end of the change set the mesh is NOT at; applying the change set exchanges the live
// record with it. An entry without a copy needs none: its live record is right at both ends (or
// the record does not exist at one of them).
struct TopoMeshLogEntry {
  TopoMeshRecordStatus status;
  TopoMeshRecordKind kind;
  void* record;
  void* copy;
};

// Open-addressing hash index (linear probing, backward-shift erase) from record address to the
// position of its entry in a vector the caller owns. Slots keep the key beside the position, so
// a probe never reads the entries.
class TopoMeshLogIndex {
 public:
  static constexpr std::uint32_t kNone = 0xffffffffu;

  // The position of rec's entry, or kNone.
  std::uint32_t find(const void* rec) const noexcept;
  // The position of rec's entry if it has one; otherwise records `pos` for it and returns
  // kNone. Grows the table first when needed (on failure nothing changes).
  std::uint32_t findOrInsert(const void* rec, std::uint32_t pos);
  // Adds rec (not yet indexed) at position pos.
  void insert(const void* rec, std::uint32_t pos) { findOrInsert(rec, pos); }
  // Removes rec (which must be indexed).
  void erase(const void* rec) noexcept;
  // Points rec's slot (rec must be indexed) at position `to`.
  void relocate(const void* rec, std::uint32_t to) noexcept;
  // Makes room for n keys, so that inserts up to that size do not allocate.
  void reserve(std::size_t n);
  // Indexes every entry of `entries` by position (replacing the contents).
  void build(const std::vector<TopoMeshLogEntry>& entries);
  // Forgets every key; a table much larger than its contents is given back.
  void clear() noexcept;
  // Frees the table.
  void release() noexcept;

  std::uint32_t size() const noexcept { return size_; }
  // Whether the table exists (a released index is rebuilt before use as a change set's index).
  bool built() const noexcept { return !slots_.empty(); }
  std::size_t bytes() const noexcept { return slots_.capacity() * sizeof(Slot); }

 private:
  struct Slot {
    const void* key;  // null when free
    std::uint32_t pos;
  };

  std::size_t home(const void* rec) const noexcept;
  void rehash(std::size_t capacity);

  std::vector<Slot> slots_;
  std::uint32_t size_ = 0;
  int shift_ = 64;
};

// The records touched between a state and its parent, with an index that is built on demand
// (the first time the change set takes in another one during pruning) and then kept up to date.
struct TopoMeshChangeSet {
  std::vector<TopoMeshLogEntry> entries;
  TopoMeshLogIndex index;
};

}  // namespace krGeom
