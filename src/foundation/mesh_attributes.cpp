#include <geom/foundation/mesh_attributes.h>

#include <cassert>
#include <cstring>
#include <utility>

namespace krGeom {

namespace {

// Bounds of an invalid range: the largest finite float, so the first scanned value replaces them.
constexpr float invalidMin = 3.4028235e38f;
constexpr float invalidMax = -3.4028235e38f;

const krString::CString verticesName("vertices");
const krString::CString normalsName("normals");
const krString::CString uvsName("uvs");
const krString::CString stsName("sts");
const krString::CString coloursName("colours");

// Widens [lo, hi] by N-component elements. The bounds live in locals of a fixed width so the
// loop vectorises (the members could alias the data). A NaN compares false and never replaces
// a bound.
template <int N>
void scanRange(const float* p, int numElements, float* lo, float* hi) {
  float mn[N], mx[N];
  for (int c = 0; c < N; ++c) {
    mn[c] = lo[c];
    mx[c] = hi[c];
  }
  for (int e = 0; e < numElements; ++e, p += N) {
    for (int c = 0; c < N; ++c) {
      mn[c] = mn[c] > p[c] ? p[c] : mn[c];
      mx[c] = p[c] > mx[c] ? p[c] : mx[c];
    }
  }
  for (int c = 0; c < N; ++c) {
    lo[c] = mn[c];
    hi[c] = mx[c];
  }
}

}  // namespace

MeshAttributes::MeshAttributes(const krString::CString& name, int dimension, int numElements,
                               kr::Reference<ArrayAllocator> allocator)
    : name_(name),
      dimension_(dimension),
      storeable_(true),
      data_(std::move(allocator)),
      rangeMin_{invalidMin, invalidMin, invalidMin, invalidMin},
      rangeMax_{invalidMax, invalidMax, invalidMax, invalidMax},
      rangeValid_(false) {
  assert(dimension >= 1 && dimension <= 4);
  data_.resize(numElements * dimension);
}

MeshAttributes::MeshAttributes(const MeshAttributes& other)
    : name_(other.name_),
      dimension_(other.dimension_),
      storeable_(other.storeable_),
      data_(other.data_),
      rangeValid_(other.rangeValid_) {
  std::memcpy(rangeMin_, other.rangeMin_, sizeof rangeMin_);
  std::memcpy(rangeMax_, other.rangeMax_, sizeof rangeMax_);
}

MeshAttributes& MeshAttributes::operator=(const MeshAttributes& other) {
  if (this == &other) return *this;
  name_ = other.name_;
  dimension_ = other.dimension_;
  storeable_ = other.storeable_;
  data_ = other.data_;
  std::memcpy(rangeMin_, other.rangeMin_, sizeof rangeMin_);
  std::memcpy(rangeMax_, other.rangeMax_, sizeof rangeMax_);
  rangeValid_ = other.rangeValid_;
  return *this;
}

MeshAttributes::~MeshAttributes() = default;

void MeshAttributes::setArrayAllocator(kr::Reference<ArrayAllocator> allocator) {
  data_.setArrayAllocator(std::move(allocator));
}

void MeshAttributes::copyArray(const float* src) {
  if (float* dst = data_.data()) std::memcpy(dst, src, sizeof(float) * std::size_t(data_.size()));
  invalidateRange();
}

void MeshAttributes::swap(MeshAttributes& other) {
  if (this == &other) return;
  name_.swap(other.name_);
  std::swap(dimension_, other.dimension_);
  std::swap(storeable_, other.storeable_);
  data_.swapContents(other.data_);
  std::swap(rangeMin_, other.rangeMin_);
  std::swap(rangeMax_, other.rangeMax_);
  std::swap(rangeValid_, other.rangeValid_);
}

void MeshAttributes::invalidateRange() noexcept {
  rangeValid_ = false;
  for (int c = 0; c < dimension_; ++c) {
    rangeMin_[c] = invalidMin;
    rangeMax_[c] = invalidMax;
  }
}

void MeshAttributes::computeRange(int n) const {
  if (rangeValid_) return;
  const float* p = dimension_ == n ? data_.data() : nullptr;
  const int numElements = data_.size() / dimension_;
  assert((dimension_ == n || numElements == 0) && "range getter of the wrong dimension");
  if (p) {
    if (n == 1) scanRange<1>(p, numElements, rangeMin_, rangeMax_);
    if (n == 2) scanRange<2>(p, numElements, rangeMin_, rangeMax_);
    if (n == 3) scanRange<3>(p, numElements, rangeMin_, rangeMax_);
  }
  rangeValid_ = true;
}

krLinear::Range1d MeshAttributes::getRange1() const {
  computeRange(1);
  return {rangeMin_[0], rangeMax_[0]};
}

krLinear::Range2d MeshAttributes::getRange2() const {
  computeRange(2);
  return {{rangeMin_[0], rangeMin_[1]}, {rangeMax_[0], rangeMax_[1]}};
}

krLinear::Range3d MeshAttributes::getRange3() const {
  computeRange(3);
  return {{rangeMin_[0], rangeMin_[1], rangeMin_[2]}, {rangeMax_[0], rangeMax_[1], rangeMax_[2]}};
}

void MeshAttributes::setRange1(const krLinear::Range1d& r) const {
  rangeMin_[0] = float(r.lower());
  rangeMax_[0] = float(r.upper());
  rangeValid_ = true;
}

void MeshAttributes::setRange2(const krLinear::Range2d& r) const {
  for (int c = 0; c < 2; ++c) {
    rangeMin_[c] = float(r.lower()[c]);
    rangeMax_[c] = float(r.upper()[c]);
  }
  rangeValid_ = true;
}

void MeshAttributes::setRange3(const krLinear::Range3d& r) const {
  for (int c = 0; c < 3; ++c) {
    rangeMin_[c] = float(r.lower()[c]);
    rangeMax_[c] = float(r.upper()[c]);
  }
  rangeValid_ = true;
}

const krString::CString& verticesAttributeName() noexcept {
  return verticesName;
}
const krString::CString& normalsAttributeName() noexcept {
  return normalsName;
}
const krString::CString& uvsAttributeName() noexcept {
  return uvsName;
}
const krString::CString& stsAttributeName() noexcept {
  return stsName;
}
const krString::CString& coloursAttributeName() noexcept {
  return coloursName;
}

}  // namespace krGeom
