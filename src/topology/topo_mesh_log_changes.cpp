#include "topo_mesh_log_changes.h"

#include <algorithm>
#include <bit>
#include <cassert>

namespace krGeom {

namespace {

constexpr std::size_t kMinCapacity = 16;

}  // namespace

std::size_t TopoMeshLogIndex::home(const void* rec) const noexcept {
  // Fibonacci hashing of the address; records are at least 16 bytes apart, so drop 4 low bits.
  const auto a = reinterpret_cast<std::uintptr_t>(rec) >> 4;
  return static_cast<std::size_t>((static_cast<std::uint64_t>(a) * 0x9E3779B97F4A7C15ull) >>
                                  shift_);
}

std::uint32_t TopoMeshLogIndex::find(const void* rec) const noexcept {
  if (slots_.empty()) return kNone;
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t s = home(rec);; s = (s + 1) & mask) {
    if (slots_[s].key == rec) return slots_[s].pos;
    if (!slots_[s].key) return kNone;
  }
}

std::uint32_t TopoMeshLogIndex::findOrInsert(const void* rec, std::uint32_t pos) {
  // Load factor at most one half keeps probe runs short.
  if (2 * (static_cast<std::size_t>(size_) + 1) > slots_.size())
    rehash(slots_.empty() ? kMinCapacity : 2 * slots_.size());
  const std::size_t mask = slots_.size() - 1;
  std::size_t s = home(rec);
  for (; slots_[s].key; s = (s + 1) & mask)
    if (slots_[s].key == rec) return slots_[s].pos;
  slots_[s] = {rec, pos};
  ++size_;
  return kNone;
}

void TopoMeshLogIndex::erase(const void* rec) noexcept {
  const std::size_t mask = slots_.size() - 1;
  std::size_t hole = home(rec);
  while (slots_[hole].key != rec) hole = (hole + 1) & mask;
  // Backward shift: pull later members of the probe run into the hole when their home slot
  // does not lie after the hole, so every remaining key stays reachable from its home.
  for (std::size_t s = (hole + 1) & mask; slots_[s].key; s = (s + 1) & mask) {
    const std::size_t h = home(slots_[s].key);
    if (((s - h) & mask) >= ((s - hole) & mask)) {
      slots_[hole] = slots_[s];
      hole = s;
    }
  }
  slots_[hole] = {nullptr, kNone};
  --size_;
}

void TopoMeshLogIndex::relocate(const void* rec, std::uint32_t to) noexcept {
  const std::size_t mask = slots_.size() - 1;
  std::size_t s = home(rec);
  while (slots_[s].key != rec) s = (s + 1) & mask;
  slots_[s].pos = to;
}

void TopoMeshLogIndex::reserve(std::size_t n) {
  std::size_t capacity = slots_.empty() ? kMinCapacity : slots_.size();
  while (capacity < 2 * n) capacity *= 2;
  if (capacity != slots_.size()) rehash(capacity);
}

void TopoMeshLogIndex::build(const std::vector<TopoMeshLogEntry>& entries) {
  release();
  reserve(entries.size());
  for (std::size_t i = 0; i < entries.size(); ++i)
    insert(entries[i].record, static_cast<std::uint32_t>(i));
}

void TopoMeshLogIndex::clear() noexcept {
  // Filling costs the capacity; a table left large by an earlier burst is freed instead and
  // grows again from the minimum on the next insert.
  if (slots_.size() > kMinCapacity && 8 * static_cast<std::size_t>(size_) < slots_.size())
    release();
  else
    std::fill(slots_.begin(), slots_.end(), Slot{nullptr, kNone});
  size_ = 0;
}

void TopoMeshLogIndex::release() noexcept {
  slots_ = std::vector<Slot>();
  size_ = 0;
  shift_ = 64;
}

void TopoMeshLogIndex::rehash(std::size_t capacity) {
  std::vector<Slot> old(capacity, Slot{nullptr, kNone});
  old.swap(slots_);
  shift_ = 64 - std::countr_zero(capacity);
  const std::size_t mask = capacity - 1;
  for (const Slot& slot : old) {
    if (!slot.key) continue;
    std::size_t s = home(slot.key);
    while (slots_[s].key) s = (s + 1) & mask;
    slots_[s] = slot;
  }
}

}  // namespace krGeom
