#include <kr/packet/reference_table.h>

namespace krPacket {

std::size_t ReferenceTable::home(const void* key) const noexcept {
  // Addresses share their low bits (alignment) and high bits (one heap): mix them all.
  std::uint64_t x = reinterpret_cast<std::uintptr_t>(key);
  x ^= x >> 33;
  x *= 0xFF51AFD7ED558CCDull;
  x ^= x >> 33;
  return static_cast<std::size_t>(x) & (slots_.size() - 1);
}

std::uint32_t ReferenceTable::find(const void* key) const noexcept {
  if (slots_.empty()) return 0;
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = home(key);; i = (i + 1) & mask) {
    if (slots_[i].key == key) return slots_[i].value;
    if (!slots_[i].key) return 0;
  }
}

std::uint32_t ReferenceTable::insert(const void* key, std::uint32_t value) {
  if (2 * (size_ + 1) > slots_.size()) grow();  // at most half full
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = home(key);; i = (i + 1) & mask) {
    if (slots_[i].key == key) return slots_[i].value;
    if (!slots_[i].key) {
      slots_[i] = {key, value};
      ++size_;
      return value;
    }
  }
}

void ReferenceTable::erase(const void* key) noexcept {
  if (slots_.empty()) return;
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = home(key);
  while (slots_[i].key != key) {
    if (!slots_[i].key) return;
    i = (i + 1) & mask;
  }
  // Shift later entries of the probe run back over the hole, keeping every entry reachable.
  for (std::size_t j = (i + 1) & mask; slots_[j].key; j = (j + 1) & mask) {
    const std::size_t k = home(slots_[j].key);
    const bool stays = i <= j ? (i < k && k <= j) : (i < k || k <= j);
    if (stays) continue;
    slots_[i] = slots_[j];
    i = j;
  }
  slots_[i] = {};
  --size_;
}

void ReferenceTable::grow() {
  std::vector<Slot> old = std::move(slots_);
  slots_.assign(old.empty() ? 64 : 2 * old.size(), Slot());
  size_ = 0;
  for (const Slot& s : old)
    if (s.key) insert(s.key, s.value);
}

}  // namespace krPacket
