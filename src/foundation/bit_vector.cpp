#include <geom/foundation/bit_vector.h>

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>
#include <utility>

namespace krGeom {

namespace {

using Word = std::uint32_t;

Word bitMask(int i) {
  return Word{1} << (i % 32);
}

// Applies op(word, otherWord, mask) to every word that holds one of the first m bits; mask selects
// the bits of that word below m. op returns the change in the number of set bits.
template <class Op>
int combineWords(Word* words, const Word* otherWords, int m, Op op) {
  int delta = 0;
  const int fullWords = m / 32;
  for (int w = 0; w < fullWords; ++w) delta += op(words[w], otherWords[w], ~Word{0});
  if (const int rest = m % 32; rest != 0) {
    delta += op(words[fullWords], otherWords[fullWords], (Word{1} << rest) - 1);
  }
  return delta;
}

}  // namespace

std::unique_ptr<Word[]> BitVector::makeWords(int size) {
  assert(size >= 0);
  if (size == 0) return nullptr;
  return std::make_unique<Word[]>(static_cast<std::size_t>(numInts(size)));  // zeroed
}

BitVector::BitVector(int size) : size_(size), bits_(makeWords(size)) {}

BitVector::BitVector(const BitVector& other)
    : size_(other.size_), numSet_(other.numSet_), bits_(makeWords(other.size_)) {
  if (size_ != 0) {
    std::memcpy(bits_.get(), other.bits_.get(),
                sizeof(Word) * static_cast<std::size_t>(numInts(size_)));
  }
}

BitVector::BitVector(BitVector&& other) noexcept
    : size_(std::exchange(other.size_, 0)),
      numSet_(std::exchange(other.numSet_, 0)),
      bits_(std::move(other.bits_)) {}

BitVector& BitVector::operator=(const BitVector& other) {
  // The copy's words are complete before the old ones go, so self-assignment is harmless.
  BitVector(other).swap(*this);
  return *this;
}

BitVector& BitVector::operator=(BitVector&& other) noexcept {
  BitVector(std::move(other)).swap(*this);
  return *this;
}

BitVector::~BitVector() = default;

void BitVector::swap(BitVector& other) noexcept {
  std::swap(size_, other.size_);
  std::swap(numSet_, other.numSet_);
  bits_.swap(other.bits_);
}

void BitVector::resize(int size) {
  auto words = makeWords(size);
  size_ = size;
  numSet_ = 0;
  bits_.swap(words);
}

unsigned int BitVector::isBitSet(int i) const {
  // Reading may reach the spare bits of the last word (setAllBits sets them).
  assert(i >= 0 && i < numInts(size_) * 32);
  return bits_[i / 32] & bitMask(i);
}

void BitVector::setBit(int i) {
  assert(i >= 0 && i < size_);
  Word& word = bits_[i / 32];
  const Word mask = bitMask(i);
  if ((word & mask) == 0) {
    word |= mask;
    ++numSet_;
  }
}

void BitVector::clearBit(int i) {
  assert(i >= 0 && i < size_);
  Word& word = bits_[i / 32];
  const Word mask = bitMask(i);
  if ((word & mask) != 0) {
    word &= ~mask;
    --numSet_;
  }
}

void BitVector::setBits(int n, const int* indices) {
  for (int k = 0; k < n; ++k) setBit(indices[k]);
}

void BitVector::clearBits() {
  if (size_ == 0) return;
  std::fill_n(bits_.get(), numInts(size_), Word{0});
  numSet_ = 0;
}

void BitVector::setAllBits() {
  if (size_ == 0) return;
  std::fill_n(bits_.get(), numInts(size_), ~Word{0});
  numSet_ = size_;
}

// The three combinations work a word at a time; the count changes by the population count of
// the bits each word operation flips, which equals the bit-by-bit tally.

void BitVector::operator&=(const BitVector& other) {
  const int m = std::min(size_, other.size_);
  numSet_ += combineWords(bits_.get(), other.bits_.get(), m, [](Word& a, Word b, Word mask) {
    const Word cleared = a & ~b & mask;
    a &= ~cleared;
    return -std::popcount(cleared);
  });
}

void BitVector::operator|=(const BitVector& other) {
  const int m = std::min(size_, other.size_);
  numSet_ += combineWords(bits_.get(), other.bits_.get(), m, [](Word& a, Word b, Word mask) {
    const Word added = ~a & b & mask;
    a |= added;
    return std::popcount(added);
  });
}

void BitVector::operator^=(const BitVector& other) {
  const int m = std::min(size_, other.size_);
  numSet_ += combineWords(bits_.get(), other.bits_.get(), m, [](Word& a, Word b, Word mask) {
    const Word flipped = b & mask;  // every set bit of the other flips this bit
    const int delta = std::popcount(flipped & ~a) - std::popcount(flipped & a);
    a ^= flipped;
    return delta;
  });
}

}  // namespace krGeom
