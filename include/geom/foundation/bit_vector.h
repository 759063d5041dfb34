// A fixed-length set of bits with a running count of the bits that are set.
//
//   krGeom::BitVector selected(100);
//   selected.setBit(3);
//   selected.setBit(3);             // already set: numSet() stays 1
//   if (selected.isBitSet(3)) ...   // non-zero test only: the value is 1 << (3 % 32)
//
// Bit i lives in word i / 32 at bit i % 32 (least significant first). Storage is always
// size / 32 + 1 words (one word more than needed when size is a multiple of 32, no storage for
// size 0); numBytesUsed() reports that layout. Bits from size up to the end of the last word are
// spare bits: they are 0 except after setAllBits(), which sets them too, and they are never
// counted. numSet() is kept exact by every mutating operation, never recounted from the words.
//
// Indices are not range-checked (debug builds assert): an index outside 0 ... size()-1 is
// undefined behaviour. A BitVector is a plain value used from one thread at a time.
#pragma once

#include <geom/export.h>

#include <cstdint>
#include <memory>

namespace krGeom {

class KRGEOM_EXPORT BitVector {
 public:
  // --- Construction and assignment ---
  // An empty vector: size 0, no storage.
  BitVector() noexcept = default;
  // size bits, all clear (no storage when size is 0).
  explicit BitVector(int size);
  // Copies size, count and every word, spare bits included.
  BitVector(const BitVector& other);
  // Takes the other's storage; the source is left empty (size 0).
  BitVector(BitVector&& other) noexcept;
  // Copies; the new words are built before the old ones are freed, so self-assignment is safe.
  BitVector& operator=(const BitVector& other);
  // Takes the other's storage; the source is left empty (size 0).
  BitVector& operator=(BitVector&& other) noexcept;
  ~BitVector();
  // Exchanges size, count and storage.
  void swap(BitVector& other) noexcept;

  // --- Size and count ---
  // The number of bits.
  int size() const noexcept { return size_; }
  // The number of bits currently set (constant time).
  int numSet() const noexcept { return numSet_; }
  // Discards the contents: size bits, all clear, count 0, even when growing.
  void resize(int size);

  // --- Single bits ---
  // 0 when bit i is clear, else the bit's own value 1 << (i % 32), not 1: test for non-zero.
  // i may also name a spare bit of the last word.
  unsigned int isBitSet(int i) const;
  // Sets bit i, counting it only when it was clear.
  void setBit(int i);
  // Clears bit i, uncounting it only when it was set.
  void clearBit(int i);
  // setBit for each of the n indices in order; a repeated index counts once; n < 1 does nothing.
  void setBits(int n, const int* indices);

  // --- Whole vector ---
  // Clears every word and the count (nothing for size 0).
  void clearBits();
  // Fills every word with ones, spare bits included, and sets the count to size (nothing for 0).
  void setAllBits();

  // --- Bitwise combination over the first min(size(), other.size()) bits ---
  // Bits at and beyond the shorter size are left as they are: &= with a shorter vector does not
  // clear this vector's tail. The count stays exact.
  void operator&=(const BitVector& other);
  void operator|=(const BitVector& other);
  void operator^=(const BitVector& other);

  // --- Size reporting ---
  // 4 * (size / 32) + 20: the object plus its words.
  int numBytesUsed() const noexcept { return 4 * (size_ / 32) + 20; }
  // Same as numBytesUsed().
  int getSizeInBytes() const noexcept { return numBytesUsed(); }

 private:
  // The number of words kept for size bits (0 for size 0).
  static int numInts(int size) noexcept { return size == 0 ? 0 : size / 32 + 1; }
  // A zeroed word array for size bits, or null for size 0.
  static std::unique_ptr<std::uint32_t[]> makeWords(int size);

  int size_ = 0;
  int numSet_ = 0;
  std::unique_ptr<std::uint32_t[]> bits_;
};

// Exchanges two vectors (found by argument-dependent lookup).
inline void swap(BitVector& a, BitVector& b) noexcept {
  a.swap(b);
}

}  // namespace krGeom
