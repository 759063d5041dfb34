#include <geom/meshes/remap.h>

#include <algorithm>
#include <cassert>

namespace krGeom {

Remap::Remap(int domainSize, int rangeSize) : rangeSize_(rangeSize) {
  map_.resize(domainSize);
}

Remap& Remap::operator=(const Remap& other) {
  Remap copy(other);
  swap(copy);
  return *this;
}

Remap::~Remap() = default;

void Remap::swap(Remap& other) {
  map_.swapContents(other.map_);
  std::swap(rangeSize_, other.rangeSize_);
}

void Remap::resize(int domainSize, int rangeSize) {
  map_.resize(domainSize);
  rangeSize_ = rangeSize;
}

void Remap::set(int value) {
  std::fill(map_.begin(), map_.end(), value);
}

void Remap::set(int index, int value) {
  map_[index] = value;
}

void Remap::set(int first, int last, int value) {
  if (first > last) return;
  assert(first >= 0 && last < getDomainSize());
  std::fill(get() + first, get() + last + 1, value);
}

void Remap::setSequential() {
  int* entries = get();
  for (int i = 0, n = getDomainSize(); i < n; ++i) entries[i] = i;
}

int Remap::setValidSequential() {
  int* entries = get();
  int next = 0;
  for (int i = 0, n = getDomainSize(); i < n; ++i) {
    if (entries[i] >= 0) entries[i] = next++;
  }
  return next;
}

void Remap::setDeleteMap(const BitVector& deleted) {
  const int n = deleted.size();
  map_.resize(n);
  rangeSize_ = n - deleted.numSet();
  int* entries = get();
  int kept = 0;
  for (int i = 0; i < n; ++i) entries[i] = deleted.isBitSet(i) ? -1 : kept++;
}

void Remap::operator()(int* values, int n) const {
  const int* entries = get();
  for (int k = 0; k < n; ++k) {
    if (values[k] >= 0) {
      assert(values[k] < getDomainSize());
      values[k] = entries[values[k]];
    }
  }
}

void Remap::operator()(Array<int>& values) const {
  (*this)(values.data(), values.size());
}

void Remap::operator()(BitVector& out, const BitVector& in) const {
  assert(in.size() <= getDomainSize());
  const int* entries = get();
  for (int i = 0, n = in.size(); i < n; ++i) {
    if (in.isBitSet(i)) {
      assert(entries[i] >= 0 && entries[i] < out.size());
      out.setBit(entries[i]);
    }
  }
}

void Remap::compose(const Remap& first, const Remap& second) {
  if (this == &first || this == &second) {
    // Writing entries would overwrite the maps being read: build apart, then take the result.
    Remap result;
    result.compose(first, second);
    swap(result);
    return;
  }
  map_.resize(first.getDomainSize());
  rangeSize_ = second.getRangeSize();
  int* entries = get();
  const int* firstEntries = first.get();
  const int* secondEntries = second.get();
  for (int i = 0, n = getDomainSize(); i < n; ++i) {
    const int middle = firstEntries[i];
    assert(middle < second.getDomainSize());
    entries[i] = middle >= 0 ? secondEntries[middle] : -1;
  }
}

kr::Reference<Remap> Remap::inverse() const {
  kr::Reference<Remap> result(new Remap(rangeSize_, getDomainSize()));
  result->set(-1);
  int* target = result->get();
  const int* entries = get();
  for (int i = 0, n = getDomainSize(); i < n; ++i) {
    if (entries[i] >= 0) {
      assert(entries[i] < rangeSize_);
      target[entries[i]] = i;
    }
  }
  return result;
}

}  // namespace krGeom
